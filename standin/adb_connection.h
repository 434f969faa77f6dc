#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "standin/adb_socket.h"
#include "standin/adb_stream.h"
#include "standin/app_process_host.h"
#include "standin/faults.h"
#include "standin/root_fs.h"

namespace lumivale::standin {

// What every connection of one stand-in shares.
struct DeviceContext {
  std::string rootPath;
  const RootFs& files;
  const Faults& faults;
  const AppProcessHost& appProcess;
  // `tcpip:PORT`: opens the Wi-Fi side and gives the port it listens on.
  std::function<uint16_t(uint16_t)> listenOverWifi;
  // Where each service opened is noted by its kind ("shell", "sync", ...), a line each,
  // so that benchmarks can count the tablet's round trips.
  std::filesystem::path serviceLog;
};

// The device side of one adb transport: the handshake, then streams, each
// served on a thread of its own so that a slow one never holds up the rest.
class AdbConnection {
 public:
  AdbConnection(UniqueFd fd, const DeviceContext& context);
  AdbConnection(const AdbConnection&) = delete;
  AdbConnection& operator=(const AdbConnection&) = delete;
  ~AdbConnection();

  // Serves the host until it goes away or the connection is dropped.
  void run();
  // Cuts the connection from another thread.
  void drop() { socket_.shutdown(); }

 private:
  struct Worker;

  bool handshake(const FaultSettings& faults);
  void serveStreams();
  void endStreams();
  void open(const Message& message, const FaultSettings& faults);
  void noteService(std::string_view service) const;
  void reapFinishedWorkers();
  void switchToTcp(AdbStream& stream, const std::string& port);

  AdbSocket socket_;
  const DeviceContext& context_;
  uint32_t maxPayload_ = kMaxPayload;
  bool shellV2_ = true;
  uint32_t nextStreamId_ = 1;
  std::map<uint32_t, std::shared_ptr<AdbStream>> streams_;
  std::vector<std::unique_ptr<Worker>> workers_;
};

// The CNXN banner: LV-1 identity and features.
std::string deviceBanner(bool shellV2);

}  // namespace lumivale::standin
