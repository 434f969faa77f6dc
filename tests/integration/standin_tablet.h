#pragma once

// The stand-in LV-1 for integration tests: a real lumivale-standin daemon that
// the real adb is connected to, through an adb server private to the test.
//
//   lumivale::testing::StandinTablet tablet;              // started and connected
//   ToolRun run = tablet.shell("getprop ro.product.model");
//   EXPECT_EQ(run.stdoutData, "LV-1\n");
//   tablet.adb({"push", local, "/sdcard/Download/"});      // adb -s SERIAL push ...
//   std::filesystem::path shared = tablet.storageFolder(); // what /sdcard holds, on this machine
//   tablet.setFault("hide=sha256sum");                    // see standin/README.md for faults
//
// Everything is torn down by the destructor (also when a test fails), and the
// daemon ends with the test process if that dies first (strictly: with the
// thread that made the tablet, so make it on one that outlives it). Two tablets share one
// adb server when the second is given the first's:
//   StandinTablet second(StandinOptions().through(first.adbServer()));

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"

namespace lumivale::testing {

// An adb server of the test's own: its own port, HOME, log, and no emulator
// scanning, so that it neither sees nor disturbs any other adb on the machine.
class PrivateAdbServer {
 public:
  PrivateAdbServer();
  PrivateAdbServer(const PrivateAdbServer&) = delete;
  PrivateAdbServer& operator=(const PrivateAdbServer&) = delete;
  // Kills the server and removes its HOME.
  ~PrivateAdbServer();

  // The variables an adb run needs to talk to this server (PATH, HOME,
  // ANDROID_ADB_SERVER_PORT, ADB_EMU=0, ...).
  const Environment& environment() const { return environment_; }
  uint16_t port() const { return port_; }

  // Runs `adb ARGS...` against this server, standard input from /dev/null.
  ToolRun adb(const std::vector<std::string>& arguments, Seconds timeout = Seconds(120)) const;
  // The same with `input` as adb's standard input.
  ToolRun adbWithInput(const std::vector<std::string>& arguments, std::string_view input,
                       Seconds timeout = Seconds(120)) const;

 private:
  uint16_t port_ = 0;
  std::filesystem::path home_;
  Environment environment_;
};

// How to start a stand-in: StandinTablet(StandinOptions().fault("v1-shell")).
struct StandinOptions {
  // Faults to start with, as `lumivale-standin serve --fault` takes them.
  std::vector<std::string> faults;
  // The adb server to connect through; a new private one when empty.
  std::shared_ptr<PrivateAdbServer> adbServer;
  // Whether to run `adb connect` once the daemon listens.
  bool connect = true;
  // Whether /sdcard is a plain folder rather than the tablet-like storage, which
  // ignores case and refuses the names FAT does not allow.
  bool plainStorage = false;

  StandinOptions& fault(std::string request) {
    faults.push_back(std::move(request));
    return *this;
  }
  StandinOptions& through(std::shared_ptr<PrivateAdbServer> server) {
    adbServer = std::move(server);
    return *this;
  }
  StandinOptions& withoutConnecting() {
    connect = false;
    return *this;
  }
  StandinOptions& withPlainStorage() {
    plainStorage = true;
    return *this;
  }
};

class StandinTablet {
 public:
  // Starts the daemon (and the adb server) and connects adb to it; unless a
  // fault stops the handshake, adb lists it as "device" when this returns.
  explicit StandinTablet(StandinOptions options = {});
  StandinTablet(const StandinTablet&) = delete;
  StandinTablet& operator=(const StandinTablet&) = delete;
  ~StandinTablet();

  // Stops the daemon, then starts it again on the same port and data folder:
  // what is in the root survives, as on a rebooted tablet.
  void restart();
  // The two halves of restart(), for a tablet that stays away a while: adb forgets it,
  // as one that was switched off, until start() brings it back.
  void stop();
  void start();

  // "127.0.0.1:PORT", the serial adb lists.
  const std::string& serial() const { return serial_; }
  uint16_t port() const { return port_; }
  const std::shared_ptr<PrivateAdbServer>& adbServer() const { return options_.adbServer; }
  const Environment& adbEnvironment() const { return options_.adbServer->environment(); }

  std::filesystem::path dataFolder() const { return dataFolder_; }
  std::filesystem::path rootFolder() const { return dataFolder_ / "root"; }
  // The folder of this machine that holds the shared storage (/sdcard = /storage/emulated/0):
  // names in it are the stored ones, with no case folding.
  std::filesystem::path storageFolder() const;
  // Where a path of the tablet ("/data/local/tmp/x", "/sdcard/x") lies on this machine.
  std::filesystem::path hostPath(std::string_view tabletPath) const;

  // `adb -s SERIAL ARGS...`.
  ToolRun adb(std::vector<std::string> arguments, Seconds timeout = Seconds(120)) const;
  ToolRun adbWithInput(std::vector<std::string> arguments, std::string_view input,
                       Seconds timeout = Seconds(120)) const;
  // `adb -s SERIAL shell COMMAND`.
  ToolRun shell(const std::string& command, Seconds timeout = Seconds(60)) const;
  // `adb connect` / `adb disconnect` for this tablet; connect returns adb's run.
  ToolRun connect() const;
  void disconnect() const;

  // The tablet's state column in `adb devices` ("device", "unauthorized",
  // "offline", ...), or "" when adb does not list it.
  std::string state() const;
  // Polls state() until it reads `wanted` or the time is up; returns the state
  // last seen. adb passes through "connecting" and "authorizing" on its way.
  std::string waitForState(std::string_view wanted, Seconds timeout = Seconds(30)) const;

  // Fault control while running (see standin/README.md for the names).
  void setFault(const std::string& fault) const;
  void clearFault(const std::string& name) const;
  void clearFaults() const;
  std::vector<std::string> faults() const;
  // Cuts every adb connection; adb then lists the tablet as offline or gone
  // until connect() is called again. Faults of the handshake (unauthorized,
  // offline, v1-shell) only apply to connections made after they are set.
  void dropConnections() const;

  // Stops the daemon's process where it is (SIGSTOP), as a tablet that froze mid-answer:
  // adb keeps its connection and waits. thaw() lets it go on; the destructor does too.
  void freeze() const;
  void thaw() const;

  // The tablet's clipboard as stored, {"text":...,"sensitive":...,"at":...}; "" when nothing
  // was ever copied.
  std::string clipboardRecord() const;
  // Copies on the tablet as an app would: {"text":"hi"}, {"text":"pw","sensitive":true}.
  void copyOnTablet(const std::string& clipJson) const;
  // The port of the Wi-Fi side once `adb tcpip` has opened it, and while it is awake.
  std::optional<uint16_t> wifiPort() const;

  // The taps, keys, typed text and started activities, one per line.
  std::string inputLog() const;

 private:
  void startDaemon(uint16_t port);
  void connectAtStart();
  void stopDaemon();
  std::string control(const std::string& request) const;

  StandinOptions options_;
  std::filesystem::path dataFolder_;
  std::shared_ptr<Spawn::Child> daemon_;
  uint16_t port_ = 0;
  std::string serial_;
};

}  // namespace lumivale::testing
