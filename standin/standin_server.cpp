#include "standin/standin_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
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
      context_{root.path().string(),
               files_,
               faults_,
               appProcess_,
               [this](uint16_t wanted) { return listenOverWifi(wanted); },
               dataFolder / "services"},
      listener_(listenOnLoopback(port, port_)),
      controlSocket_(listenOnControlSocket(dataFolder / "control")),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      dataFolder_(dataFolder) {
  root_.applyFaults(faults_.current());
  // A Wi-Fi side of an earlier run is gone with it.
  std::error_code ignored;
  std::filesystem::remove(root_.path() / "data/standin/props/service.adb.tcp.port", ignored);
  std::filesystem::remove(dataFolder_ / "wifi-port", ignored);
}

StandinServer::~StandinServer() {
  dropConnections();
  for (auto& client : clients_)
    client.thread.join();
}

void StandinServer::run() {
  UniqueFd signals = terminationSignals();
  for (;;) {
    int wifi = -1;
    {
      std::lock_guard lock(wifiLock_);
      wifi = wifiListener_.get();
    }
    pollfd fds[5] = {{listener_.get(), POLLIN, 0},
                     {controlSocket_.get(), POLLIN, 0},
                     {signals.get(), POLLIN, 0},
                     {wake_.get(), POLLIN, 0},
                     {wifi, POLLIN, 0}};
    if (::poll(fds, 5, -1) < 0) {
      if (errno == EINTR) continue;
      throw Error(fmt::format("poll: {}", std::strerror(errno)));
    }
    if (fds[2].revents) return;
    if (fds[3].revents) {
      uint64_t count = 0;
      [[maybe_unused]] auto ignored = ::read(wake_.get(), &count, sizeof count);
    }
    if (fds[0].revents) accept(listener_.get(), false);
    if (fds[4].revents) accept(wifi, true);
    if (fds[1].revents) answerControl();
  }
}

void StandinServer::accept(int listener, bool overWifi) {
  UniqueFd fd(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
  if (!fd) return;
  int on = 1;
  ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::erase_if(clients_, [](Client& client) {
    if (!client.finished) return false;
    client.thread.join();
    return true;
  });
  auto& client = clients_.emplace_back();
  client.overWifi = overWifi;
  client.connection = std::make_unique<AdbConnection>(std::move(fd), context_);
  client.thread = std::thread([&client] {
    client.connection->run();
    client.finished = true;
  });
}

uint16_t StandinServer::listenOverWifi(uint16_t wanted) {
  std::lock_guard lock(wifiLock_);
  wifiWanted_ = true;
  if (!wifiListener_ && !faults_.current().asleep) {
    openWifiSideLocked(wanted, 0);
    const uint64_t one = 1;
    [[maybe_unused]] auto ignored = ::write(wake_.get(), &one, sizeof one);
  }
  return wifiPort_;
}

void StandinServer::openWifiSideLocked(uint16_t wanted, uint16_t avoid) {
  // adb servers take a daemon on an emulator port for an emulator, and the port may be
  // taken on this machine: then the first free one above the cable side's, which tests
  // pick below the ports handed out for outgoing connections (adb dialling such a port
  // once it is closed again could be given it as its own end, and talk to itself).
  uint16_t bound = 0;
  uint32_t next = port_ + 1u;
  for (uint32_t port = wanted; !wifiListener_; port = next++) {
    if (next > port_ + 1000u) throw Error("no free port for the Wi-Fi side");
    if (port == 0 || port > 65535 || isEmulatorPort(static_cast<uint16_t>(port)) || port == avoid ||
        port == port_)
      continue;
    try {
      wifiListener_ = listenOnLoopback(static_cast<uint16_t>(port), bound);
    } catch (const Error&) {
      // taken: the next one
    }
  }
  wifiPort_ = bound;
  auto props = root_.path() / "data/standin/props";
  std::filesystem::create_directories(props);
  std::ofstream(props / "service.adb.tcp.port") << bound << "\n";
  std::ofstream(dataFolder_ / "wifi-port.new") << bound << "\n";
  std::filesystem::rename(dataFolder_ / "wifi-port.new", dataFolder_ / "wifi-port");
}

// Asleep, the Wi-Fi side is gone with its connections; awake again, it listens on
// another port, as a tablet whose wireless debugging restarted, or on its old one.
void StandinServer::sleepOrWake(const FaultSettings& faults) {
  std::lock_guard lock(wifiLock_);
  if (!wifiWanted_) return;
  if (faults.asleep && wifiListener_) {
    wifiListener_.reset();
    std::error_code ignored;
    std::filesystem::remove(dataFolder_ / "wifi-port", ignored);
    dropConnections(true);
  } else if (!faults.asleep && !wifiListener_) {
    if (faults.wakesOnSamePort)
      openWifiSideLocked(wifiPort_, 0);
    else
      openWifiSideLocked(0, wifiPort_);
  }
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
    if (argument.empty()) {
      const bool samePort = faults.wakesOnSamePort;  // how a sleep ends is kept
      faults = {};
      faults.wakesOnSamePort = samePort;
    } else {
      clearFault(faults, argument);
    }
  } else if (verb == "drop") {
    dropConnections();
    return "";
  } else if (verb != "faults") {
    throw Error(
        fmt::format("unknown request '{}' (fault FAULT, clear [NAME], faults, drop, clipboard, "
                    "clipboard copy CLIP)",
                    request));
  }
  const bool wasAsleep = faults_.current().asleep;
  root_.applyFaults(faults);
  faults_.replace(faults);
  if (faults.asleep != wasAsleep) sleepOrWake(faults);
  std::string listing;
  for (const auto& fault : describeFaults(faults))
    listing += fault + "\n";
  return listing;
}

void StandinServer::dropConnections(bool onlyWifi) {
  for (auto& client : clients_)
    if (client.connection && (client.overWifi || !onlyWifi)) client.connection->drop();
}

}  // namespace lumivale::standin
