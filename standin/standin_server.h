#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "core/tablet/unique_fd.h"
#include "standin/adb_connection.h"
#include "standin/faults.h"
#include "standin/root_fs.h"
#include "standin/tablet_clipboard.h"
#include "standin/tablet_root.h"

namespace lumivale::standin {

// The stand-in tablet's daemon: accepts adb connections on a loopback port and
// control requests on a Unix socket in its data folder, until SIGTERM or SIGINT.
class StandinServer {
 public:
  // Listens on 127.0.0.1:port (a free one when port is 0, never one of the
  // emulator ports an adb server scans).
  StandinServer(TabletRoot& root, FaultSettings faults, const std::filesystem::path& dataFolder,
                uint16_t port);
  ~StandinServer();

  uint16_t port() const { return port_; }
  void run();

 private:
  struct Client {
    std::unique_ptr<AdbConnection> connection;
    std::thread thread;
    std::atomic<bool> finished = false;
    bool overWifi = false;
  };

  void accept(int listener, bool overWifi);
  void answerControl();
  std::string control(const std::string& request);
  void dropConnections(bool onlyWifi = false);
  // The Wi-Fi side, as `adb tcpip` opens it: a second listener with the same tablet
  // behind it. Opened from a stream's thread, closed (by the sleep fault) from run().
  uint16_t listenOverWifi(uint16_t wanted);
  // Listens on `wanted` when it can, else on a free port other than `avoid`.
  void openWifiSideLocked(uint16_t wanted, uint16_t avoid);
  void sleepOrWake(const FaultSettings& faults);

  TabletRoot& root_;
  RootFs files_;
  Faults faults_;
  AppProcessHost appProcess_;
  TabletClipboard clipboard_;
  DeviceContext context_;
  uint16_t port_ = 0;  // set while listener_ is made
  UniqueFd listener_;
  UniqueFd controlSocket_;
  UniqueFd wake_;  // wakes run() to take up a new Wi-Fi listener
  std::filesystem::path dataFolder_;
  std::list<Client> clients_;

  std::mutex wifiLock_;
  bool wifiWanted_ = false;  // guarded by wifiLock_, as are the two below
  UniqueFd wifiListener_;
  uint16_t wifiPort_ = 0;
};

}  // namespace lumivale::standin
