#include "standin/standin_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include <fmt/format.h>

#include "core/error.h"

namespace lumivale::standin {
namespace {

// An adb server claims any daemon on 127.0.0.1:5555..5585 as an emulator.
bool isEmulatorPort(uint16_t port) {
  return port >= 5554 && port <= 5585;
}

UniqueFd listenOnLoopback(uint16_t wanted, uint16_t& bound) {
  for (;;) {
    UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    int on = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(wanted);
    socklen_t size = sizeof address;
    if (::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(fd.get(), 16) != 0)
      throw Error(fmt::format("cannot listen on 127.0.0.1:{}: {}", wanted, std::strerror(errno)));
    ::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &size);
    bound = ntohs(address.sin_port);
    if (wanted != 0 || !isEmulatorPort(bound)) return fd;
  }
}

UniqueFd listenOnControlSocket(const std::filesystem::path& path) {
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.string().size() >= sizeof address.sun_path)
    throw Error(fmt::format("control socket path too long: {}", path.string()));
  std::strcpy(address.sun_path, path.c_str());
  ::unlink(path.c_str());
  if (::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(fd.get(), 4) != 0)
    throw Error(fmt::format("cannot listen on {}: {}", path.string(), std::strerror(errno)));
  return fd;
}

UniqueFd terminationSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC));
}

}  // namespace

StandinServer::StandinServer(TabletRoot& root, FaultSettings faults,
                             const std::filesystem::path& dataFolder, uint16_t port)
    : root_(root),
      files_(root.path().string()),
      faults_(std::move(faults)),
      appProcess_{root.path(), dataFolder / "helper-jars",
                  root.path() / "data/standin/clipboard.json"},
      clipboard_(appProcess_.clipboardFile),
      context_{root.path().string(), files_, faults_, appProcess_},
      listener_(listenOnLoopback(port, port_)),
      controlSocket_(listenOnControlSocket(dataFolder / "control")) {
  root_.applyFaults(faults_.current());
}

StandinServer::~StandinServer() {
  dropConnections();
  for (auto& client : clients_)
    client.thread.join();
}

void StandinServer::run() {
  UniqueFd signals = terminationSignals();
  for (;;) {
    pollfd fds[3] = {{listener_.get(), POLLIN, 0},
                     {controlSocket_.get(), POLLIN, 0},
                     {signals.get(), POLLIN, 0}};
    if (::poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      throw Error(fmt::format("poll: {}", std::strerror(errno)));
    }
    if (fds[2].revents) return;
    if (fds[0].revents) accept();
    if (fds[1].revents) answerControl();
  }
}

void StandinServer::accept() {
  UniqueFd fd(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!fd) return;
  int on = 1;
  ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::erase_if(clients_, [](Client& client) {
    if (!client.finished) return false;
    client.thread.join();
    return true;
  });
  auto& client = clients_.emplace_back();
  client.connection = std::make_unique<AdbConnection>(std::move(fd), context_);
  client.thread = std::thread([&client] {
    client.connection->run();
    client.finished = true;
  });
}

void StandinServer::answerControl() {
  UniqueFd fd(::accept4(controlSocket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!fd) return;
  timeval timeout{5, 0};
  ::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  std::string request;
  char byte;
  while (::recv(fd.get(), &byte, 1, 0) == 1 && byte != '\n')
    request.push_back(byte);
  std::string reply;
  try {
    reply = "ok\n" + control(request);
  } catch (const Error& error) {
    reply = "error: " + error.message() + "\n";
  }
  ::send(fd.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
}

std::string StandinServer::control(const std::string& request) {
  constexpr std::string_view copyVerb = "clipboard copy ";
  if (request == "clipboard") {
    std::string clip = clipboard_.read();
    return clip.empty() ? "" : clip + "\n";
  }
  if (request.starts_with(copyVerb)) {
    clipboard_.copy(std::string_view(request).substr(copyVerb.size()));
    return "";
  }
  std::istringstream words(request);
  std::string verb, argument;
  words >> verb >> argument;
  FaultSettings faults = faults_.current();
  if (verb == "fault" && !argument.empty()) {
    applyFault(faults, argument);
  } else if (verb == "clear") {
    if (argument.empty())
      faults = {};
    else
      clearFault(faults, argument);
  } else if (verb == "drop") {
    dropConnections();
    return "";
  } else if (verb != "faults") {
    throw Error(
        fmt::format("unknown request '{}' (fault FAULT, clear [NAME], faults, drop, clipboard, "
                    "clipboard copy CLIP)",
                    request));
  }
  root_.applyFaults(faults);
  faults_.replace(faults);
  std::string listing;
  for (const auto& fault : describeFaults(faults))
    listing += fault + "\n";
  return listing;
}

void StandinServer::dropConnections() {
  for (auto& client : clients_)
    if (client.connection) client.connection->drop();
}

}  // namespace lumivale::standin
