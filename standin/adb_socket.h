#pragma once

#include <mutex>
#include <string_view>

#include "core/tablet/unique_fd.h"
#include "standin/adb_message.h"

namespace lumivale::standin {

// One TCP connection to an adb server, carrying whole messages. Reads happen on
// one thread; sends may come from any thread and never interleave.
class AdbSocket {
 public:
  explicit AdbSocket(UniqueFd fd) : fd_(std::move(fd)) {}

  // Reads the next message; false when the host has gone or sent garbage.
  bool read(Message& message);
  // False when the connection is gone.
  bool send(Command command, uint32_t arg0, uint32_t arg1, std::string_view payload = {});
  // Ends the connection both ways; blocked reads and sends return false.
  void shutdown();

 private:
  UniqueFd fd_;
  std::mutex sendLock_;
};

}  // namespace lumivale::standin
