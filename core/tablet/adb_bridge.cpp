#include "core/tablet/adb_bridge.h"

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/tablet/adb_child_stream.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_hand_off.h"
#include "core/tablet/adb_server.h"

namespace lumivale {
namespace {

constexpr Seconds kServerStartTimeout{20};
constexpr Seconds kListTimeout{10};
// A running server answers at once; one that does not is left to adb to sort out.
constexpr Seconds kServerAskTimeout{2};
// Asked when a long-lived adb ended by itself, to tell a tablet gone from a command done.
constexpr Seconds kGetStateTimeout{5};

using TabletShell::firstLine;

// `-s SERIAL ...`: a run that waits on the tablet rather than on adb alone.
bool addressesTablet(const std::vector<std::string>& arguments) {
  return arguments.size() > 2 && arguments[0] == "-s";
}

// The command of `-s SERIAL shell COMMAND...` without options, which adb joins with
// spaces as it stands.
std::optional<std::string> shellCommand(const std::vector<std::string>& arguments) {
  if (!addressesTablet(arguments) || arguments[2] != "shell" || arguments.size() < 4 ||
      arguments[3].starts_with('-'))
    return std::nullopt;
  std::string command = arguments[3];
  for (auto argument = arguments.begin() + 4; argument != arguments.end(); ++argument)
    command += " " + *argument;
  return command;
}

}  // namespace

AdbBridge::AdbBridge(std::filesystem::path adbPath, Environment environment, StandinHooks hooks,
                     std::optional<std::string> adbVersion)
    : adbPath_(std::move(adbPath)),
      environment_([&] {
        environment["ADB_MDNS_AUTO_CONNECT"] = "0";
        return std::move(environment);
      }()),
      hooks_(std::move(hooks)),
      adbVersion_(std::move(adbVersion)) {}

std::shared_ptr<AdbBridge> AdbBridge::locate(const AdbSearch& search, Environment environment,
                                             StandinHooks hooks) {
  auto found = AdbLocate::locate(search);
  return std::make_shared<AdbBridge>(found.candidate.path, std::move(environment), std::move(hooks),
                                     found.version);
}

bool AdbBridge::serverStarted() const {
  std::lock_guard guard(lock_);
  return serverStarted_;
}

void AdbBridge::pin(const AdbTablet& tablet) {
  std::set<std::string> serials{tablet.serial};
  for (const auto& connection : tablet.connections)
    serials.insert(connection.serial);
  std::lock_guard guard(lock_);
  pinned_ = std::move(serials);
}

ToolRun AdbBridge::runAdb(const std::vector<std::string>& arguments, Seconds timeout,
                          const StopToken* stop, const OutputChunks* onOutput) {
  if (!stop) stop = &command_;
  if (addressesTablet(arguments)) timeout *= hooks_.timeoutScale;
  if (auto command = shellCommand(arguments); command && adbVersion_) {
    std::string out;
    auto run = AdbServer::shell(
        environment_, *adbVersion_, arguments[1], *command, timeout, stop,
        onOutput ? *onOutput : [&out](std::string_view chunk) { out.append(chunk); });
    if (run) {
      run->stdoutData = std::move(out);
      return std::move(*run);
    }
  }
  try {
    if (onOutput)
      return ToolRun::streamIn(environment_, adbPath_.string(), arguments, timeout, stop,
                               *onOutput);
    return ToolRun::runIn(environment_, adbPath_.string(), arguments, timeout, stop);
  } catch (const Spawn::Failure& failure) {
    throw AdbError(failure.message());
  }
}

ToolRun AdbBridge::runChecked(const std::vector<std::string>& arguments, Seconds timeout,
                              const StopToken* stop) {
  if (!stop) stop = &command_;
  timeout = stop->budget(timeout);
  ToolRun run = runAdb(arguments, timeout, stop);
  if (run.cancelled) throw Cancelled();
  const std::string shown = "adb " + AdbHandOff::redacted(arguments);
  if (run.timedOut)
    throw AdbError(addressesTablet(arguments) ? TabletShell::notAnswering()
                                              : TabletShell::didNotFinish(shown, timeout));
  if (run.status != 0) {
    std::string detail = firstLine(run.stderrData);
    if (detail.empty()) detail = firstLine(run.stdoutData);
    throw AdbError(TabletShell::exited(shown, run.status, detail));
  }
  return run;
}

void AdbBridge::ensureServer(const StopToken* stop) {
  // Callers that arrive during a start wait for it rather than start adb again, and
  // no lock is held while adb runs. The start has a deadline, so the wait has one too.
  StopToken::Hold wakeOnCancel;
  if (stop)
    wakeOnCancel = stop->hold([this] {
      std::lock_guard guard(lock_);
      serverChanged_.notify_all();
    });
  {
    std::unique_lock guard(lock_);
    serverChanged_.wait(
        guard, [&] { return serverStarted_ || !serverStarting_ || (stop && stop->isCancelled()); });
    if (serverStarted_) return;
    if (stop) stop->throwIfCancelled();
    serverStarting_ = true;
  }
  ToolRun run;
  try {
    run = runAdb({"start-server"}, stop ? stop->budget(kServerStartTimeout) : kServerStartTimeout,
                 stop);
  } catch (...) {
    serverStartEnded(false);
    throw;
  }
  const bool started = !run.cancelled && !run.timedOut && run.status == 0;
  serverStartEnded(started);
  if (run.cancelled) throw Cancelled();
  if (!started)
    throw AdbError(TabletShell::exited("adb start-server", run.status, firstLine(run.stderrData)));
}

void AdbBridge::serverStartEnded(bool started) {
  std::lock_guard guard(lock_);
  serverStarting_ = false;
  serverStarted_ = serverStarted_ || started;
  serverChanged_.notify_all();
}

void AdbBridge::requirePinned(const std::string& serial) {
  std::lock_guard guard(lock_);
  if (pinned_ && !pinned_->contains(serial))
    throw AdbError("refusing unpinned adb: serial '" + serial + "' is not the chosen tablet");
}

std::vector<std::string> AdbBridge::forSerial(const std::string& serial,
                                              const std::vector<std::string>& arguments) {
  requirePinned(serial);
  std::vector<std::string> full{"-s", serial};
  full.insert(full.end(), arguments.begin(), arguments.end());
  return full;
}

std::string AdbBridge::runText(const std::string& serial, const std::vector<std::string>& arguments,
                               Seconds timeout, const StopToken* stop) {
  return runChecked(forSerial(serial, arguments), timeout, stop).stdoutData;
}

std::string AdbBridge::runReadingStderr(const std::string& serial,
                                        const std::vector<std::string>& arguments, Seconds timeout,
                                        const StopToken* stop) {
  return runChecked(forSerial(serial, arguments), timeout, stop).stderrData;
}

ToolRun AdbBridge::run(const std::string& serial, const std::vector<std::string>& arguments,
                       Seconds timeout, const StopToken* stop) {
  return runAdb(forSerial(serial, arguments), timeout, stop);
}

ToolRun AdbBridge::stream(const std::string& serial, const std::vector<std::string>& arguments,
                          Seconds timeout, const StopToken* stop, const OutputChunks& onOutput) {
  return runAdb(forSerial(serial, arguments), timeout, stop, &onOutput);
}

std::unique_ptr<AdbStream> AdbBridge::openStream(const std::vector<std::string>& arguments,
                                                 const AdbStreamOptions& options,
                                                 AdbStreamSink& sink, const StopToken* stop) {
  if (arguments.size() < 2 || arguments[0] != "-s")
    return openAdbStream(adbPath_, environment_, arguments, options, sink, stop);
  const std::string serial = arguments[1];
  requirePinned(serial);
  auto tabletGone = [adb = adbPath_.string(), environment = environment_, serial] {
    try {
      ToolRun state =
          ToolRun::runIn(environment, adb, {"-s", serial, "get-state"}, kGetStateTimeout);
      return state.timedOut || state.status != 0 || firstLine(state.stdoutData) != "device";
    } catch (const Spawn::Failure&) {
      return true;
    }
  };
  return openAdbStream(adbPath_, environment_, arguments, options, sink, stop, tabletGone);
}

ShellResult AdbBridge::shellStatus(const std::string& serial, const std::string& command,
                                   Seconds timeout, const StopToken* stop) {
  std::string output =
      runChecked(forSerial(serial, {"shell", TabletShell::withMarker(command)}), timeout, stop)
          .stdoutData;
  auto split = TabletShell::split(output);
  if (!split)
    throw AdbError("the tablet did not say how '" + AdbHandOff::redacted({command}) + "' ended");
  return *split;
}

std::string AdbBridge::shell(const std::string& serial, const std::string& command, Seconds timeout,
                             const StopToken* stop) {
  auto split = shellStatus(serial, command, timeout, stop);
  if (split.status != 0) {
    std::string detail = firstLine(split.output);
    throw AdbError(fmt::format("'{}' failed on {} with status {}{}",
                               AdbHandOff::redacted({command}), serial, split.status,
                               detail.empty() ? "" : ": " + detail));
  }
  return split.output;
}

std::vector<AdbParse::ParsedDevice> AdbBridge::devices(bool onlyLumivale,
                                                       const AdbTablets::KnownTablets& known,
                                                       const StopToken* stop) {
  std::optional<std::string> listing;
  if (adbVersion_)
    listing = AdbServer::devicesListing(environment_, *adbVersion_, kServerAskTimeout, stop);
  if (stop) stop->throwIfCancelled();
  // `adb devices` starts the server itself, so a listing needs no separate start.
  if (!listing) listing = runChecked({"devices", "-l"}, kListTimeout, stop).stdoutData;
  auto parsed = AdbParse::devices(*listing);
  {
    std::lock_guard guard(lock_);
    serverStarted_ = true;
    transportIds_.clear();
    for (const auto& entry : parsed)
      if (auto id = AdbParse::transportId(entry.raw)) transportIds_[entry.device.serial] = *id;
  }
  return AdbTablets::select(std::move(parsed), onlyLumivale, hooks_, known);
}

bool AdbBridge::deviceReady(const std::string& serial, const StopToken* stop) {
  for (const auto& parsed : devices(false, {}, stop))
    if (parsed.device.serial == serial && parsed.device.state == "device") return true;
  return false;
}

std::optional<std::string> AdbBridge::transportId(const std::string& serial) const {
  std::lock_guard guard(lock_);
  auto found = transportIds_.find(serial);
  if (found == transportIds_.end()) return std::nullopt;
  return found->second;
}

std::vector<AdbTablet> AdbBridge::tablets(bool onlyLumivale,
                                          const std::vector<RememberedTablet>& remembered,
                                          const std::optional<std::string>& signedInUserId,
                                          const std::optional<std::string>& chosen,
                                          const StopToken* stop) {
  std::vector<AdbDevice> connections;
  for (auto& parsed : devices(onlyLumivale, {chosen, remembered}, stop))
    connections.push_back(std::move(parsed.device));
  return AdbTablets::group(connections, remembered, signedInUserId);
}

std::optional<std::string> AdbBridge::connectionSerial(
    const std::string& pinned, bool onlyLumivale, const std::vector<RememberedTablet>& remembered,
    const std::optional<std::string>& signedInUserId, const StopToken* stop) {
  auto choice =
      AdbTablets::choose(tablets(onlyLumivale, remembered, signedInUserId, pinned, stop), pinned);
  if (!choice.selected) return std::nullopt;
  return checkedSerial(choice.selected->serial, remembered, stop);
}

}  // namespace lumivale
