#include "standin/adb_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace lumivale::standin {

AdbStream::AdbStream(AdbSocket& socket, uint32_t localId, uint32_t remoteId, uint32_t maxPayload)
    : socket_(socket), localId_(localId), remoteId_(remoteId), maxPayload_(maxPayload) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  closedRead_.reset(fds[0]);
  closedWrite_.reset(fds[1]);
}

void AdbStream::deliver(std::string data) {
  std::lock_guard guard(lock_);
  if (closed_) return;
  // The host waits for our OKAY before its next WRTE; anything more is kept, not lost.
  if (incoming_)
    incoming_->append(data);
  else
    incoming_ = std::move(data);
  changed_.notify_all();
}

void AdbStream::acknowledge() {
  std::lock_guard guard(lock_);
  mayWrite_ = true;
  changed_.notify_all();
}

void AdbStream::closeFromHost() {
  std::lock_guard guard(lock_);
  hostClosed_ = true;
  markClosedLocked();
}

std::optional<std::string> AdbStream::take() {
  std::unique_lock lock(lock_);
  changed_.wait(lock, [this] { return incoming_ || closed_; });
  if (closed_) return std::nullopt;
  std::string data = std::move(*incoming_);
  incoming_.reset();
  lock.unlock();
  socket_.send(Command::okay, localId_, remoteId_);
  return data;
}

bool AdbStream::write(std::string_view data) {
  while (!data.empty()) {
    std::unique_lock lock(lock_);
    changed_.wait(lock, [this] { return mayWrite_ || closed_; });
    if (closed_) return false;
    mayWrite_ = false;
    lock.unlock();
    size_t size = std::min<size_t>(data.size(), maxPayload_);
    if (!socket_.send(Command::write, localId_, remoteId_, data.substr(0, size))) return false;
    data.remove_prefix(size);
  }
  return true;
}

void AdbStream::close() {
  std::unique_lock lock(lock_);
  bool sendClose = !closed_ && !hostClosed_;
  markClosedLocked();
  lock.unlock();
  if (sendClose) socket_.send(Command::close, localId_, remoteId_);
}

bool AdbStream::closed() const {
  std::lock_guard guard(lock_);
  return closed_;
}

void AdbStream::markClosedLocked() {
  if (closed_) return;
  closed_ = true;
  closedWrite_.reset();
  changed_.notify_all();
}

}  // namespace lumivale::standin
