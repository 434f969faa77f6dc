#include "standin/adb_socket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>

namespace lumivale::standin {
namespace {

bool readExactly(int fd, void* buffer, size_t size) {
  auto* bytes = static_cast<char*>(buffer);
  while (size > 0) {
    ssize_t got = ::recv(fd, bytes, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

}  // namespace

bool AdbSocket::read(Message& message) {
  unsigned char header[kHeaderSize];
  if (!readExactly(fd_.get(), header, sizeof header)) return false;
  auto decoded = decodeHeader(header);
  if (!decoded || decoded->dataLength > kMaxPayload) return false;
  message.header = *decoded;
  message.payload.resize(decoded->dataLength);
  return readExactly(fd_.get(), message.payload.data(), message.payload.size());
}

bool AdbSocket::send(Command command, uint32_t arg0, uint32_t arg1, std::string_view payload) {
  std::string header = encodeHeader(command, arg0, arg1, static_cast<uint32_t>(payload.size()));
  iovec parts[2] = {{header.data(), header.size()},
                    {const_cast<char*>(payload.data()), payload.size()}};
  int count = payload.empty() ? 1 : 2;
  std::lock_guard guard(sendLock_);
  iovec* next = parts;
  while (count > 0) {
    msghdr message{};
    message.msg_iov = next;
    message.msg_iovlen = static_cast<size_t>(count);
    ssize_t sent = ::sendmsg(fd_.get(), &message, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    auto left = static_cast<size_t>(sent);
    while (count > 0 && left >= next->iov_len) {
      left -= next->iov_len;
      ++next;
      --count;
    }
    if (count > 0) {
      next->iov_base = static_cast<char*>(next->iov_base) + left;
      next->iov_len -= left;
    }
  }
  return true;
}

void AdbSocket::shutdown() {
  ::shutdown(fd_.get(), SHUT_RDWR);
}

}  // namespace lumivale::standin
