#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/tablet/adb_device.h"
#include "core/tablet/adb_locate.h"
#include "core/tablet/adb_parse.h"
#include "core/tablet/adb_runner.h"
#include "core/tablet/standin_hooks.h"
#include "core/tablet/tablet_grouping.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale {

// The one way to the tablet: knows the adb in use, keeps its server started, lists
// and groups devices, and runs every tablet command with `-s SERIAL` and a deadline.
// Its bookkeeping is serialised; the adb runs themselves happen outside the lock, so
// several may be in flight at once.
class AdbBridge : public AdbRunner, public AdbFileRunner, public AdbStreamRunner {
 public:
  // `environment` is the program's own; every adb also gets ADB_MDNS_AUTO_CONNECT=0.
  // `adbVersion` is what the adb answered `adb version` with; knowing it, the bridge
  // lists devices by asking a running server of that version directly.
  AdbBridge(std::filesystem::path adbPath, Environment environment, StandinHooks hooks = {},
            std::optional<std::string> adbVersion = std::nullopt);

  // A bridge on the first usable adb, or AdbError with toolsMissing set.
  static std::shared_ptr<AdbBridge> locate(const AdbSearch& search, Environment environment,
                                           StandinHooks hooks = {});

  const std::filesystem::path& adbPath() const { return adbPath_; }
  const Environment& environment() const { return environment_; }
  const StandinHooks& hooks() const { return hooks_; }
  bool serverStarted() const;

  // Commands for any other serial are refused from now on.
  void pin(const AdbTablet& tablet);
  // Every adb run not given a token of its own runs under `command` (a front end's whole
  // command, cancelled when the user interrupts it). Set before the bridge is shared.
  void runUnder(StopToken command) { command_ = std::move(command); }

  void ensureServer(const StopToken* stop = nullptr);

  // `adb -s SERIAL ARGS...`: the output (text or raw bytes alike), or the error stream.
  // A launch failure, a time-out or a non-zero status throws AdbError; a cancel of
  // `stop`, Cancelled. Every operation below takes `stop` the same way.
  std::string runText(const std::string& serial, const std::vector<std::string>& arguments,
                      Seconds timeout, const StopToken* stop = nullptr);
  std::string runReadingStderr(const std::string& serial, const std::vector<std::string>& arguments,
                               Seconds timeout, const StopToken* stop = nullptr);
  // One line in the tablet's shell; a non-zero remote status throws AdbError.
  std::string shell(const std::string& serial, const std::string& command, Seconds timeout,
                    const StopToken* stop = nullptr) override;
  ToolRun run(const std::string& serial, const std::vector<std::string>& arguments, Seconds timeout,
              const StopToken* stop) override;
  ToolRun stream(const std::string& serial, const std::vector<std::string>& arguments,
                 Seconds timeout, const StopToken* stop, const OutputChunks& onOutput) override;
  // A long-lived adb; arguments that begin with `-s SERIAL` must name the chosen tablet.
  std::unique_ptr<AdbStream> openStream(const std::vector<std::string>& arguments,
                                        const AdbStreamOptions& options, AdbStreamSink& sink,
                                        const StopToken* stop = nullptr) override;

  // Listing and choosing.
  std::vector<AdbParse::ParsedDevice> devices(bool onlyLumivale,
                                              const AdbTablets::KnownTablets& known = {},
                                              const StopToken* stop = nullptr);
  // Whether adb lists the connection `serial` ready for work ("device"), in one listing.
  bool deviceReady(const std::string& serial, const StopToken* stop = nullptr);
  // `chosen`, the tablet the user chose, is recognised by its serial whatever its line says.
  std::vector<AdbTablet> tablets(bool onlyLumivale, const std::vector<RememberedTablet>& remembered,
                                 const std::optional<std::string>& signedInUserId,
                                 const std::optional<std::string>& chosen = std::nullopt,
                                 const StopToken* stop = nullptr);
  std::optional<std::string> connectionSerial(const std::string& pinned, bool onlyLumivale,
                                              const std::vector<RememberedTablet>& remembered,
                                              const std::optional<std::string>& signedInUserId,
                                              const StopToken* stop = nullptr);
  // adb's number for the connection `serial` in the last listing ("transport_id:"): a new
  // one means the tablet has just appeared again.
  std::optional<std::string> transportId(const std::string& serial) const;
  // A cable serial as it is; a Wi-Fi serial only once its tablet passed the secret check.
  std::optional<std::string> checkedSerial(const std::string& serial,
                                           const std::vector<RememberedTablet>& remembered,
                                           const StopToken* stop = nullptr);
  void leaveCheck(const std::string& cableSerial, const TabletCheck& check,
                  const StopToken* stop = nullptr);
  std::optional<TabletCheck> readCheck(const std::string& serial, const StopToken* stop = nullptr);

  // The tablet's facts and light.
  DeviceInfo deviceInfo(const std::string& serial, const StopToken* stop = nullptr);
  std::optional<std::string> getSetting(const std::string& serial, const std::string& nameSpace,
                                        const std::string& key, const StopToken* stop = nullptr);
  int getWarmth(const std::string& serial, const StopToken* stop = nullptr);
  struct WarmthAndShade {
    int warmth = 0;
    bool shade = false;
  };
  WarmthAndShade getWarmthAndShade(const std::string& serial, const StopToken* stop = nullptr);
  void setWarmth(const std::string& serial, int warmth, const StopToken* stop = nullptr);
  int getBrightness(const std::string& serial, const StopToken* stop = nullptr);
  void setBrightness(const std::string& serial, int brightness, const StopToken* stop = nullptr);

  // Screen and input.
  void wake(const std::string& serial, const StopToken* stop = nullptr);
  bool keyguardShowing(const std::string& serial, const StopToken* stop = nullptr);
  std::optional<std::string> wakefulness(const std::string& serial,
                                         const StopToken* stop = nullptr);
  // The wakefulness and the lock screen, read in one round trip.
  struct ScreenReading {
    std::optional<std::string> wakefulness;  // as the tablet says it: "Awake", "Asleep", ...
    bool keyguardShowing = false;
  };
  ScreenReading screenReading(const std::string& serial, const StopToken* stop = nullptr);
  void requireReadyForInput(const std::string& serial, const StopToken* stop = nullptr);
  std::string screenshot(const std::string& serial, const StopToken* stop = nullptr);
  ScreenFrame screenFrame(const std::string& serial, Seconds maxAge,
                          const StopToken* stop = nullptr);
  void tap(const std::string& serial, int x, int y,
           const std::optional<ScreenFrame>& expecting = std::nullopt,
           const StopToken* stop = nullptr);
  void typeText(const std::string& serial, const std::string& text,
                const StopToken* stop = nullptr);
  void startActivity(const std::string& serial, const std::vector<std::string>& args,
                     const StopToken* stop = nullptr);
  void openURL(const std::string& serial, const std::string& url, const StopToken* stop = nullptr);
  std::optional<std::string> foregroundActivity(const std::string& serial,
                                                const StopToken* stop = nullptr);

  // Wi-Fi plumbing.
  void pair(const std::string& hostPort, const std::string& code, Seconds timeout,
            const StopToken* stop = nullptr);
  std::string connect(const std::string& hostPort, const StopToken* stop = nullptr);
  void disconnect(const std::string& hostPort, const StopToken* stop = nullptr);
  void tcpip(const std::string& serial, int port, const StopToken* stop = nullptr);
  std::vector<MdnsService> mdnsServices(const StopToken* stop = nullptr);
  void reverse(const std::string& serial, int port, const StopToken* stop = nullptr);
  void removeReverse(const std::string& serial, int port, const StopToken* stop = nullptr);

 private:
  // `adb ARGS...` under the deadline, outside the lock; its output goes to `onOutput` as
  // it arrives when that is given.
  ToolRun runAdb(const std::vector<std::string>& arguments, Seconds timeout, const StopToken* stop,
                 const OutputChunks* onOutput = nullptr);
  // runAdb, with a cancel, a time-out or a non-zero status thrown.
  ToolRun runChecked(const std::vector<std::string>& arguments, Seconds timeout,
                     const StopToken* stop = nullptr);
  // One shell line and its remote status; throws only when the status is unknown.
  ShellResult shellStatus(const std::string& serial, const std::string& command, Seconds timeout,
                          const StopToken* stop);
  std::vector<std::string> forSerial(const std::string& serial,
                                     const std::vector<std::string>& arguments);
  void requirePinned(const std::string& serial);
  void serverStartEnded(bool started);
  std::optional<std::string> wakefulness(const std::string& serial, Seconds timeout,
                                         const StopToken* stop);
  void putSetting(const std::string& serial, const std::string& nameSpace, const std::string& key,
                  int value, const StopToken* stop);

  const std::filesystem::path adbPath_;
  const Environment environment_;
  const StandinHooks hooks_;
  const std::optional<std::string> adbVersion_;

  mutable std::mutex lock_;
  bool serverStarted_ = false;
  bool serverStarting_ = false;  // one caller runs `adb start-server`; others wait
  std::condition_variable serverChanged_;
  std::optional<std::set<std::string>> pinned_;
  StopToken command_;
  struct CachedFrame {
    ScreenFrame frame;
    std::chrono::steady_clock::time_point readAt;
  };
  std::map<std::string, CachedFrame> frames_;
  std::map<std::string, std::string> transportIds_;  // serial -> transport id, last listed
};

}  // namespace lumivale
