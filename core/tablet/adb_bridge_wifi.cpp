#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_hand_off.h"

// Wi-Fi plumbing: pairing, connecting, forwarding, and the secret check that a
// Wi-Fi connection must pass before it is used.
namespace lumivale {
namespace {

constexpr Seconds kConnectTimeout{15};
constexpr Seconds kShortTimeout{10};

bool isHostPort(const std::string& text) {
  return text.find("._adb-tls-connect._tcp") == std::string::npos && AdbParse::isTcpSerial(text) &&
         text.find_first_of(" \t'\"") == std::string::npos;
}

bool isSixDigits(const std::string& code) {
  return code.size() == 6 &&
         std::all_of(code.begin(), code.end(), [](unsigned char c) { return std::isdigit(c); });
}

bool isCheckWord(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '-' || c == '_';
  });
}

std::string firstLineOf(const ToolRun& run) {
  const std::string said = run.stdoutData + run.stderrData;
  auto lines = AdbParse::lines(said);
  return lines.empty() ? "" : std::string(lines.front());
}

}  // namespace

void AdbBridge::pair(const std::string& hostPort, const std::string& code, Seconds timeout,
                     const StopToken* stop) {
  if (!isHostPort(hostPort))
    throw AdbError("refusing adb pair: '" + hostPort + "' is not host:port");
  if (!isSixDigits(code)) throw AdbError("refusing adb pair: the code is not six digits");
  ToolRun run = runChecked({"pair", hostPort, code}, timeout, stop);
  if (run.stdoutData.find("Successfully paired") == std::string::npos)
    throw AdbError("adb pair failed: " + firstLineOf(run));
}

std::string AdbBridge::connect(const std::string& hostPort, const StopToken* stop) {
  // adb connect ends with status 0 whether or not it connected; its words tell.
  ToolRun run = runChecked({"connect", hostPort}, kConnectTimeout, stop);
  std::string said = firstLineOf(run);
  if (!said.starts_with("connected to") && !said.starts_with("already connected to"))
    throw AdbError("adb connect " + hostPort + " failed: " + said);
  return hostPort;
}

void AdbBridge::disconnect(const std::string& hostPort, const StopToken* stop) {
  runChecked({"disconnect", hostPort}, kShortTimeout, stop);
}

void AdbBridge::tcpip(const std::string& serial, int port, const StopToken* stop) {
  runText(serial, {"tcpip", std::to_string(port)}, kShortTimeout, stop);
}

std::vector<MdnsService> AdbBridge::mdnsServices(const StopToken* stop) {
  return AdbParse::mdnsServices(runChecked({"mdns", "services"}, kShortTimeout, stop).stdoutData);
}

void AdbBridge::reverse(const std::string& serial, int port, const StopToken* stop) {
  std::string forward = "tcp:" + std::to_string(port);
  runText(serial, {"reverse", forward, forward}, kShortTimeout, stop);
}

void AdbBridge::removeReverse(const std::string& serial, int port, const StopToken* stop) {
  runText(serial, {"reverse", "--remove", "tcp:" + std::to_string(port)}, kShortTimeout, stop);
}

void AdbBridge::leaveCheck(const std::string& cableSerial, const TabletCheck& check,
                           const StopToken* stop) {
  if (!isCheckWord(check.id) || !isCheckWord(check.token))
    throw AdbError("refusing to leave a check that is not plain letters and digits");
  // Written under a new name and moved, so a reader never sees half a check.
  shell(
      cableSerial,
      fmt::format("umask 077; printf '%s\\n%s\\n' {} {} > {}.new && mv -f {}.new {}", check.id,
                  check.token, AdbHandOff::checkFile, AdbHandOff::checkFile, AdbHandOff::checkFile),
      kShortTimeout, stop);
}

std::optional<TabletCheck> AdbBridge::readCheck(const std::string& serial, const StopToken* stop) {
  std::string text = shell(serial, fmt::format("cat {} 2>/dev/null; true", AdbHandOff::checkFile),
                           kShortTimeout, stop);
  auto lines = AdbParse::lines(text);
  if (lines.size() < 2 || lines[0].empty() || lines[1].empty()) return std::nullopt;
  return TabletCheck{std::string(lines[0]), std::string(lines[1])};
}

std::optional<std::string> AdbBridge::checkedSerial(const std::string& serial,
                                                    const std::vector<RememberedTablet>& remembered,
                                                    const StopToken* stop) {
  if (serial == hooks_.serial || !AdbParse::isTcpSerial(serial)) return serial;
  const RememberedTablet* known = AdbTablets::rememberedFor(serial, remembered);
  if (!known || !known->checkId || !known->checkToken || known->checkPending.value_or(false))
    return std::nullopt;
  try {
    if (readCheck(serial, stop) == TabletCheck{*known->checkId, *known->checkToken}) return serial;
  } catch (const AdbError&) {
    // A tablet that cannot show its check is not trusted over Wi-Fi.
  }
  return std::nullopt;
}

}  // namespace lumivale
