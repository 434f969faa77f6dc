#include <algorithm>
#include <thread>

#include <fmt/format.h>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_hand_off.h"

// The screen: waking, reading its state and frame, screenshots, taps and typing.
namespace lumivale {
namespace {

constexpr Seconds kInputTimeout{10};
constexpr Seconds kScreenshotTimeout{30};
constexpr auto kWakeLimit = std::chrono::seconds(2);
constexpr auto kWakePoll = std::chrono::milliseconds(100);
// Even the last poll gets long enough for one dumpsys to answer.
constexpr auto kWakePollFloor = std::chrono::milliseconds(500);

bool isPng(const std::string& bytes) {
  static const std::string signature = "\x89PNG\r\n\x1a\n";
  return bytes.starts_with(signature);
}

}  // namespace

std::optional<std::string> AdbBridge::wakefulness(const std::string& serial,
                                                  const StopToken* stop) {
  return wakefulness(serial, kInputTimeout, stop);
}

std::optional<std::string> AdbBridge::wakefulness(const std::string& serial, Seconds timeout,
                                                  const StopToken* stop) {
  return AdbParse::wakefulness(shell(serial, "dumpsys power", timeout, stop));
}

bool AdbBridge::keyguardShowing(const std::string& serial, const StopToken* stop) {
  return AdbParse::keyguardShowing(shell(serial, "dumpsys window policy", kInputTimeout, stop))
      .value_or(false);
}

void AdbBridge::wake(const std::string& serial, const StopToken* stop) {
  using Clock = std::chrono::steady_clock;
  shell(serial, "input keyevent KEYCODE_WAKEUP", kInputTimeout, stop);
  const auto giveUp = Clock::now() + kWakeLimit;
  for (;;) {
    Seconds left = std::max<Clock::duration>(giveUp - Clock::now(), kWakePollFloor);
    try {
      if (wakefulness(serial, left, stop) == "Awake") return;
    } catch (const AdbError&) {
      // A poll still going when the time was up is the tablet not waking in time.
      if (Clock::now() < giveUp) throw;
      break;
    }
    if (Clock::now() >= giveUp) break;
    std::this_thread::sleep_for(kWakePoll);
    if (stop) stop->throwIfCancelled();
  }
  throw AdbError(serial + " did not report mWakefulness=Awake within 2 s of KEYCODE_WAKEUP");
}

AdbBridge::ScreenReading AdbBridge::screenReading(const std::string& serial,
                                                  const StopToken* stop) {
  // Both answers in one round trip: a screen is read often, and input may follow.
  std::string output =
      shell(serial, "echo @@power; dumpsys power; echo @@policy; dumpsys window policy",
            kInputTimeout, stop);
  return {
      AdbParse::wakefulness(AdbParse::section(output, "power").value_or("")),
      AdbParse::keyguardShowing(AdbParse::section(output, "policy").value_or("")).value_or(false)};
}

void AdbBridge::requireReadyForInput(const std::string& serial, const StopToken* stop) {
  const ScreenReading screen = screenReading(serial, stop);
  const auto& state = screen.wakefulness;
  if (!state) throw AdbError(serial + " is not reporting mWakefulness; input would be dropped");
  if (*state != "Awake")
    throw AdbError(fmt::format("{} is {}, not awake; input would be dropped", serial, *state));
  if (screen.keyguardShowing)
    throw AdbError("the lock screen is showing on " + serial + "; unlock the tablet first");
}

std::string AdbBridge::screenshot(const std::string& serial, const StopToken* stop) {
  if (keyguardShowing(serial, stop))
    throw AdbError("keyguard is showing on " + serial +
                   "; unlock the tablet before taking a screenshot");
  std::string bytes =
      runChecked(forSerial(serial, {"exec-out", "screencap", "-p"}), kScreenshotTimeout, stop)
          .stdoutData;
  if (!isPng(bytes))
    throw AdbError(fmt::format("screencap returned {} bytes that are not a PNG", bytes.size()));
  return bytes;
}

ScreenFrame AdbBridge::screenFrame(const std::string& serial, Seconds maxAge,
                                   const StopToken* stop) {
  auto now = std::chrono::steady_clock::now();
  {
    std::lock_guard guard(lock_);
    auto cached = frames_.find(serial);
    if (cached != frames_.end() && now - cached->second.readAt <= maxAge)
      return cached->second.frame;
  }
  std::string output =
      shell(serial, "echo @@size; wm size; echo @@displays; dumpsys window displays; true",
            kInputTimeout, stop);
  auto frame = AdbParse::screenFrame(AdbParse::section(output, "size").value_or(""),
                                     AdbParse::section(output, "displays").value_or(""));
  if (!frame)
    throw AdbError("could not read the screen size of " + serial +
                   " (wm size / dumpsys window displays)");
  std::lock_guard guard(lock_);
  frames_[serial] = {*frame, now};
  return *frame;
}

void AdbBridge::tap(const std::string& serial, int x, int y,
                    const std::optional<ScreenFrame>& expecting, const StopToken* stop) {
  // A planned tap compares against a fresh frame; a bare one may use a recent one.
  ScreenFrame frame = screenFrame(serial, expecting ? Seconds(0) : Seconds(5), stop);
  if (expecting && expecting->rotation != frame.rotation)
    throw AdbError(fmt::format(
        "the tablet was turned ({} is now {}), so ({}, {}) was not tapped; look at the screen "
        "again",
        expecting->rotation, frame.rotation, x, y));
  if (x < 0 || y < 0 || x >= frame.width || y >= frame.height)
    throw AdbError(fmt::format("({}, {}) is outside the screen (coordinates start at 0)", x, y));
  shell(serial, fmt::format("input tap {} {}", x, y), kInputTimeout, stop);
}

void AdbBridge::typeText(const std::string& serial, const std::string& text,
                         const StopToken* stop) {
  if (!AdbHandOff::isTypeable(text))
    throw AdbError(
        fmt::format("text cannot be typed over adb ({} printable ASCII characters at most)",
                    AdbHandOff::maxTypedCharacters));
  std::string line;
  for (const auto& argument : AdbHandOff::inputTextArguments(text))
    line += (line.empty() ? "" : " && ") + TabletShell::line({"input", "text", argument});
  shell(serial, line, kInputTimeout, stop);
}

void AdbBridge::startActivity(const std::string& serial, const std::vector<std::string>& args,
                              const StopToken* stop) {
  std::vector<std::string> line{"am", "start"};
  line.insert(line.end(), args.begin(), args.end());
  auto result = shellStatus(serial, TabletShell::line(line) + " 2>&1", kInputTimeout, stop);
  // am may report a failed start in its output while still ending with status 0.
  for (auto text : AdbParse::lines(result.output)) {
    if (text.starts_with("Error") || text.find("Exception") != std::string_view::npos)
      throw AdbError("am start failed: " + std::string(text));
  }
  if (result.status != 0) throw AdbError(fmt::format("am start failed: status {}", result.status));
}

void AdbBridge::openURL(const std::string& serial, const std::string& url, const StopToken* stop) {
  startActivity(serial, {"-a", "android.intent.action.VIEW", "-d", url}, stop);
}

std::optional<std::string> AdbBridge::foregroundActivity(const std::string& serial,
                                                         const StopToken* stop) {
  return AdbParse::focusedActivity(shell(serial, "dumpsys window windows", kInputTimeout, stop));
}

}  // namespace lumivale
