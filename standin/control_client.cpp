#include "standin/control_client.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "core/error.h"
#include "core/tablet/unique_fd.h"

namespace lumivale::standin {

std::string sendControlRequest(const std::filesystem::path& socket, const std::string& request) {
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
  timeval timeout{10, 0};
  ::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    throw Error(
        fmt::format("cannot reach the stand-in at {}: {}", socket.string(), std::strerror(errno)));
  std::string line = request + "\n";
  ::send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL);
  std::string reply;
  char buffer[4096];
  for (ssize_t got; (got = ::recv(fd.get(), buffer, sizeof buffer, 0)) > 0;)
    reply.append(buffer, static_cast<size_t>(got));
  if (reply.starts_with("ok\n")) return reply.substr(3);
  if (reply.starts_with("error: ")) throw Error(reply.substr(7, reply.find_last_not_of('\n') - 6));
  throw Error(fmt::format("the stand-in at {} gave no answer", socket.string()));
}

}  // namespace lumivale::standin
