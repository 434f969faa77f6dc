#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
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
  };

  void accept();
  void answerControl();
  std::string control(const std::string& request);
  void dropConnections();

  TabletRoot& root_;
  RootFs files_;
  Faults faults_;
  AppProcessHost appProcess_;
  TabletClipboard clipboard_;
  DeviceContext context_;
  uint16_t port_ = 0;  // set while listener_ is made
  UniqueFd listener_;
  UniqueFd controlSocket_;
  std::list<Client> clients_;
};

}  // namespace lumivale::standin
