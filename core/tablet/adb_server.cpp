#include "core/tablet/adb_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

#include <fmt/format.h>

#include "core/checked_number.h"
#include "core/tablet/system_calls.h"
#include "core/tablet/unique_fd.h"

namespace lumivale::AdbServer {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kDefaultPort = 5037;
// A running server answers host requests at once; one that does not is left to adb.
constexpr Seconds kSetupTimeout{2};
// What four hex digits of length can frame.
constexpr std::size_t kLongestRequest = 0xffff;

// A variable that is set, even to nothing, is one adb reads: an empty value is a
// set-up of its own (adb refuses most), not the default.
std::optional<std::string_view> variable(const Environment& environment, const char* name) {
  auto found = environment.find(name);
  if (found == environment.end()) return std::nullopt;
  return found->second;
}

std::optional<std::uint16_t> portNumber(std::string_view text) {
  auto port = CheckedNumber::parse<std::uint16_t>(text, 10);
  if (!port || *port == 0) return std::nullopt;
  return port;
}

bool isLoopbackHost(std::string_view host) {
  return host == "localhost" || host == "127.0.0.1";
}

// "tcp:PORT" or "tcp:HOST:PORT" with a loopback host, as ADB_SERVER_SOCKET writes it.
std::optional<std::uint16_t> portOfSocketAddress(std::string_view address) {
  if (!address.starts_with("tcp:")) return std::nullopt;
  address.remove_prefix(4);
  auto colon = address.rfind(':');
  if (colon != std::string_view::npos && !isLoopbackHost(address.substr(0, colon)))
    return std::nullopt;
  return portNumber(colon == std::string_view::npos ? address : address.substr(colon + 1));
}

// A non-blocking connection in which every step shares one deadline.
class Connection {
 public:
  Connection(std::uint16_t port, Seconds timeout, const StopToken* stop)
      : deadline_(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                     stop ? stop->budget(timeout) : timeout)),
        socket_(SystemCalls::openStreamSocket(AF_INET)) {
    if (!socket_) return;
    // A cancel shuts the socket down, which ends any wait on it as a failure.
    if (stop) cancelHold_ = stop->holdSocket(socket_.get());
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
      connected_ = true;
    else if (errno == EINPROGRESS && waitFor(POLLOUT))
      connected_ = socketError() == 0;
  }

  bool connected() const { return connected_; }

  bool sendAll(std::string_view data) {
    while (!data.empty()) {
      ssize_t sent = ::send(socket_.get(), data.data(), data.size(), SystemCalls::sendFlags());
      if (sent > 0)
        data.remove_prefix(static_cast<std::size_t>(sent));
      else if (sent < 0 && errno != EAGAIN && errno != EINTR)
        return false;
      else if (!waitFor(POLLOUT))
        return false;
    }
    return true;
  }

  // Exactly `count` bytes; none when the connection ends or fails first.
  std::optional<std::string> receive(std::size_t count) {
    std::string data(count, '\0');
    for (std::size_t done = 0; done < count;) {
      auto got = receiveSome(data.data() + done, count - done);
      if (!got || *got == 0) return std::nullopt;
      done += *got;
    }
    return data;
  }

  // What has arrived, up to `size` bytes: 0 once the server has closed the
  // connection, none on a failure or when the deadline passed (see timedOut()).
  std::optional<std::size_t> receiveSome(char* buffer, std::size_t size) {
    while (true) {
      ssize_t got = ::recv(socket_.get(), buffer, size, 0);
      if (got >= 0) return static_cast<std::size_t>(got);
      if (errno != EAGAIN && errno != EINTR) return std::nullopt;
      if (!waitFor(POLLIN)) return std::nullopt;
    }
  }

  bool timedOut() const { return timedOut_; }

 private:
  bool waitFor(short events) {
    while (true) {
      auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
      if (left.count() <= 0) {
        timedOut_ = true;
        return false;
      }
      pollfd watched{socket_.get(), events, 0};
      int ready = ::poll(&watched, 1, static_cast<int>(left.count()));
      if (ready > 0) return true;
      if (ready < 0 && errno != EINTR) return false;
    }
  }

  int socketError() const {
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
  }

  Clock::time_point deadline_;
  UniqueFd socket_;
  StopToken::Hold cancelHold_;  // released before the socket closes
  bool connected_ = false;
  bool timedOut_ = false;
};

// The server's protocol number ("0029") against the last part of the client's
// version banner ("1.0.41"), which is the same number in decimal.
bool speaksVersion(std::string_view serverAnswer, std::string_view adbVersion) {
  auto server = CheckedNumber::parse<int>(serverAnswer, 16);
  auto dot = adbVersion.rfind('.');
  auto client = CheckedNumber::parse<int>(
      dot == std::string_view::npos ? adbVersion : adbVersion.substr(dot + 1), 10);
  return server && client && *server == *client;
}

// A host request as the server reads it: its length in four hex digits, then the text.
std::string framed(std::string_view request) {
  return fmt::format("{:04x}{}", request.size(), request);
}

bool hasFeature(std::string_view features, std::string_view wanted) {
  while (!features.empty()) {
    auto comma = features.find(',');
    if (features.substr(0, comma) == wanted) return true;
    if (comma == std::string_view::npos) break;
    features.remove_prefix(comma + 1);
  }
  return false;
}

// Cuts the shell protocol's packets (one byte naming the stream, four for the length,
// then the data) out of what the server sends, in pieces cut anywhere; standard output
// goes on as it arrives, without being gathered first.
class ShellPackets {
 public:
  ShellPackets(ToolRun& run, const OutputChunks& onOutput) : run_(run), onOutput_(onOutput) {}

  void take(std::string_view bytes) {
    while (!bytes.empty()) {
      if (headerHave_ < header_.size()) {
        header_[headerHave_++] = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        if (headerHave_ == header_.size()) {
          left_ = 0;
          for (int i = 4; i >= 1; --i)
            left_ = (left_ << 8) | header_[static_cast<std::size_t>(i)];
          if (left_ == 0) headerHave_ = 0;
        }
        continue;
      }
      auto piece = bytes.substr(0, std::min<std::size_t>(left_, bytes.size()));
      deliver(header_[0], piece);
      left_ -= static_cast<std::uint32_t>(piece.size());
      bytes.remove_prefix(piece.size());
      if (left_ == 0) headerHave_ = 0;
    }
  }

 private:
  enum : unsigned char { kStdout = 1, kStderr = 2, kExit = 3 };

  void deliver(unsigned char stream, std::string_view data) {
    if (stream == kStdout)
      onOutput_(data);
    else if (stream == kStderr)
      run_.stderrData.append(data);
    else if (stream == kExit)
      run_.status = static_cast<unsigned char>(data.front());
  }

  ToolRun& run_;
  const OutputChunks& onOutput_;
  std::array<unsigned char, 5> header_{};
  std::size_t headerHave_ = 0;
  std::uint32_t left_ = 0;
};

// The loopback port of a running server that speaks the protocol of the adb that
// answered `adb version` with `adbVersion` ("1.0.41"): that adb would first restart a
// server of any other version. None otherwise.
std::optional<std::uint16_t> serverOfVersion(const Environment& environment,
                                             std::string_view adbVersion, Seconds timeout,
                                             const StopToken* stop) {
  auto port = loopbackPort(environment);
  if (!port) return std::nullopt;
  auto version = ask(*port, "host:version", timeout, stop);
  if (!version || !speaksVersion(*version, adbVersion)) return std::nullopt;
  return port;
}

// A shell run as it stands once its connection is done with: closing the connection
// ends the command on the tablet, as killing adb would.
ToolRun ended(ToolRun run, const Connection& connection, const StopToken* stop) {
  run.cancelled = stop && stop->isCancelled();
  if (!run.cancelled && connection.timedOut()) {
    run.timedOut = true;
    run.status = 128 + SIGKILL;
  }
  return run;
}

}  // namespace

std::optional<std::uint16_t> loopbackPort(const Environment& environment) {
  if (auto address = variable(environment, "ADB_SERVER_SOCKET"))
    return portOfSocketAddress(*address);
  if (auto host = variable(environment, "ANDROID_ADB_SERVER_ADDRESS");
      host && !isLoopbackHost(*host))
    return std::nullopt;
  if (auto port = variable(environment, "ANDROID_ADB_SERVER_PORT")) return portNumber(*port);
  return kDefaultPort;
}

std::optional<std::string> ask(std::uint16_t port, std::string_view request, Seconds timeout,
                               const StopToken* stop) {
  Connection connection(port, timeout, stop);
  if (!connection.connected() || !connection.sendAll(framed(request))) return std::nullopt;
  auto status = connection.receive(4);
  if (status != "OKAY") return std::nullopt;
  auto lengthField = connection.receive(4);
  if (!lengthField) return std::nullopt;
  auto length = CheckedNumber::parse<std::uint16_t>(*lengthField, 16);
  if (!length) return std::nullopt;
  return connection.receive(*length);
}

std::optional<std::string> devicesListing(const Environment& environment,
                                          std::string_view adbVersion, Seconds timeout,
                                          const StopToken* stop) {
  auto port = serverOfVersion(environment, adbVersion, timeout, stop);
  if (!port) return std::nullopt;
  return ask(*port, "host:devices-l", timeout, stop);
}

std::optional<ToolRun> shell(const Environment& environment, std::string_view adbVersion,
                             const std::string& serial, const std::string& command, Seconds timeout,
                             const StopToken* stop, const OutputChunks& onOutput) {
  if (stop && stop->isCancelled()) return std::nullopt;
  // The client's own steps: the server's version, the tablet's features, then the
  // shell, on a connection switched to the tablet.
  const Seconds setup = std::min(timeout, kSetupTimeout);
  auto port = serverOfVersion(environment, adbVersion, setup, stop);
  if (!port) return std::nullopt;
  auto features = ask(*port, "host-serial:" + serial + ":features", setup, stop);
  if (!features || !hasFeature(*features, "shell_v2")) return std::nullopt;
  std::string service = "shell,v2,";
  if (auto term = environment.find("TERM"); term != environment.end())
    service += "TERM=" + term->second + ",";
  service += "raw:" + command;
  if (service.size() > kLongestRequest) return std::nullopt;

  Connection connection(*port, timeout, stop);
  if (!connection.connected()) return std::nullopt;
  ToolRun run;
  for (const std::string& request : {"host:transport:" + serial, service}) {
    auto answer = connection.sendAll(framed(request)) ? connection.receive(4) : std::nullopt;
    if (answer == "OKAY") continue;
    // A refusal is adb's to explain; a tablet that never answers is this run's deadline.
    if (answer || !(connection.timedOut() || (stop && stop->isCancelled()))) return std::nullopt;
    return ended(std::move(run), connection, stop);
  }
  // The command runs on the tablet now, its input empty as adb's is with nothing to send.
  ShellPackets packets(run, onOutput);
  connection.sendAll(std::string_view("\x04\0\0\0\0", 5));
  char buffer[65536];
  while (auto got = connection.receiveSome(buffer, sizeof buffer)) {
    if (*got == 0) break;
    packets.take(std::string_view(buffer, *got));
  }
  return ended(std::move(run), connection, stop);
}

}  // namespace lumivale::AdbServer
