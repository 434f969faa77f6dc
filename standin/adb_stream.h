#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "core/tablet/unique_fd.h"
#include "standin/adb_socket.h"

namespace lumivale::standin {

// One open stream between a host service client and a device service, with
// adb's flow control: one WRTE in flight per direction, each answered by OKAY.
// The connection's reader feeds it; the service's own thread consumes it.
class AdbStream {
 public:
  AdbStream(AdbSocket& socket, uint32_t localId, uint32_t remoteId, uint32_t maxPayload);
  AdbStream(const AdbStream&) = delete;
  AdbStream& operator=(const AdbStream&) = delete;

  uint32_t localId() const { return localId_; }
  uint32_t maxPayload() const { return maxPayload_; }

  // From the connection's reader: a host WRTE, a host OKAY, a host CLSE.
  void deliver(std::string data);
  void acknowledge();
  void closeFromHost();

  // The next piece of host data, OKAYed as it is taken so the host can send the
  // next while this one is used; empty once the stream is closed.
  std::optional<std::string> take();
  // Sends data in WRTEs of at most maxPayload, waiting for each OKAY; false once closed.
  bool write(std::string_view data);
  // Closes from the device side (sends CLSE unless the host closed first).
  void close();
  bool closed() const;
  // Becomes readable once the stream is closed, for services that poll.
  int closedFd() const { return closedRead_.get(); }

 private:
  void markClosedLocked();

  AdbSocket& socket_;
  const uint32_t localId_;
  const uint32_t remoteId_;
  const uint32_t maxPayload_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::optional<std::string> incoming_;
  bool mayWrite_ = true;  // the first WRTE may follow the accepting OKAY at once
  bool closed_ = false;
  bool hostClosed_ = false;
  UniqueFd closedRead_;
  UniqueFd closedWrite_;
};

}  // namespace lumivale::standin
