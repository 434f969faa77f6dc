#include "standin/adb_connection.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <iostream>
#include <thread>

#include "standin/shell_service.h"
#include "standin/sync_service.h"

namespace lumivale::standin {

struct AdbConnection::Worker {
  std::shared_ptr<AdbStream> stream;
  std::atomic<bool> finished = false;
  std::thread thread;
};

namespace {

constexpr uint32_t kAuthToken = 1;
constexpr uint32_t kAuthSignature = 2;

// Reads "shell,v2,TERM=xterm,raw:CMD" and "shell:CMD"; false for other services.
bool parseShellService(std::string_view service, bool shellV2, ShellRequest& request) {
  if (!service.starts_with("shell")) return false;
  auto colon = service.find(':');
  if (colon == std::string_view::npos) return false;
  std::string_view options = service.substr(5, colon - 5);
  if (!options.empty() && options.front() != ',') return false;
  bool v2 = shellV2 && options.find(",v2") != std::string_view::npos;
  request.command = service.substr(colon + 1);
  request.protocol = v2 ? ShellProtocol::v2 : ShellProtocol::raw;
  // As adbd: a pty when asked for, or by default for an interactive shell.
  request.terminal = options.find(",pty") != std::string_view::npos ||
                     (options.find(",raw") == std::string_view::npos && request.command.empty());
  return true;
}

// mksh answers `realpath` itself, so hiding the program alone would not hide it;
// an alias on a line of its own sends the name to the (missing) program instead.
std::string withHiddenBuiltins(const FaultSettings& faults, std::string command) {
  if (command.empty() || !faults.hiddenTools.contains("realpath")) return command;
  return "alias realpath=/system/bin/realpath\n" + command;
}

}  // namespace

std::string deviceBanner(bool shellV2) {
  std::string features = shellV2 ? "shell_v2,cmd,fixed_push_mkdir" : "cmd,fixed_push_mkdir";
  return "device::ro.product.name=vext_tolva;ro.product.model=LV-1;ro.product.device=tolva;"
         "features=" +
         features;
}

AdbConnection::AdbConnection(UniqueFd fd, const DeviceContext& context)
    : socket_(std::move(fd)), context_(context) {}

AdbConnection::~AdbConnection() {
  endStreams();
}

void AdbConnection::endStreams() {
  streams_.clear();
  for (auto& worker : workers_) {
    worker->stream->closeFromHost();
    worker->thread.join();
  }
  workers_.clear();
}

bool AdbConnection::handshake(const FaultSettings& faults) {
  Message message;
  do {
    if (!socket_.read(message)) return false;
  } while (message.header.command != static_cast<uint32_t>(Command::connect));
  if (faults.slow.count() > 0) std::this_thread::sleep_for(faults.slow);
  if (faults.offline) {
    while (socket_.read(message)) {
    }
    return false;
  }
  maxPayload_ = std::min(std::max(message.header.arg1, uint32_t{4096}), kMaxPayload);
  if (faults.unauthorized) {
    // Every signature is refused with a new challenge; a public key offered
    // then waits, as for a user who never taps Allow.
    if (!socket_.send(Command::auth, kAuthToken, 0, std::string(20, 'x'))) return false;
    while (socket_.read(message)) {
      bool signature = message.header.command == static_cast<uint32_t>(Command::auth) &&
                       message.header.arg0 == kAuthSignature;
      if (signature && !socket_.send(Command::auth, kAuthToken, 0, std::string(20, 'x')))
        return false;
    }
    return false;
  }
  shellV2_ = !faults.v1Shell;
  return socket_.send(Command::connect, kProtocolVersion, maxPayload_, deviceBanner(shellV2_));
}

void AdbConnection::run() {
  if (!handshake(context_.faults.current())) return;
  serveStreams();
  // The host is gone: so is every stream, and every command they started.
  endStreams();
}

void AdbConnection::serveStreams() {
  Message message;
  while (socket_.read(message)) {
    auto found = streams_.find(message.header.arg1);
    switch (static_cast<Command>(message.header.command)) {
      case Command::open:
        reapFinishedWorkers();
        open(message, context_.faults.current());
        break;
      case Command::okay:
        if (found != streams_.end()) found->second->acknowledge();
        break;
      case Command::write:
        if (found != streams_.end()) found->second->deliver(std::move(message.payload));
        break;
      case Command::close:
        if (found != streams_.end()) {
          found->second->closeFromHost();
          streams_.erase(found);
        }
        break;
      default:
        break;
    }
  }
}

void AdbConnection::noteService(std::string_view service) const {
  const std::string line =
      std::string(service.substr(0, service.find_first_of(",:")).substr(0, 64)) + "\n";
  // One short write to a file opened for appending lands whole beside other streams'.
  UniqueFd log(
      ::open(context_.serviceLog.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (log) static_cast<void>(!::write(log.get(), line.data(), line.size()));
}

void AdbConnection::open(const Message& message, const FaultSettings& faults) {
  uint32_t hostId = message.header.arg0;
  std::string service(message.payload.c_str());
  noteService(service);
  if (faults.dropAtCommand && service.find(*faults.dropAtCommand) != std::string::npos) {
    socket_.shutdown();
    return;
  }
  ShellRequest request;
  std::function<void(AdbStream&)> serve;
  bool shell = parseShellService(service, shellV2_, request);
  if (!shell && service.starts_with("exec:")) {
    request = {service.substr(5), ShellProtocol::raw};
    shell = true;
  }
  if (shell) {
    request.command = withHiddenBuiltins(faults, std::move(request.command));
    serve = [this, request](AdbStream& stream) {
      runShell(stream, context_.rootPath, request, context_.appProcess);
    };
  } else if (service.starts_with("tcpip:")) {
    serve = [this, port = service.substr(6)](AdbStream& stream) { switchToTcp(stream, port); };
  } else if (service == "sync:") {
    serve = [this, dropAfter = faults.dropAfterBytes](AdbStream& stream) {
      runSync(stream, {context_.files, dropAfter, [this] { socket_.shutdown(); }});
    };
  } else {
    socket_.send(Command::close, 0, hostId);
    return;
  }
  if (faults.slow.count() > 0) std::this_thread::sleep_for(faults.slow);
  uint32_t localId = nextStreamId_++;
  auto stream = std::make_shared<AdbStream>(socket_, localId, hostId, maxPayload_);
  streams_[localId] = stream;
  socket_.send(Command::okay, localId, hostId);
  auto worker = std::make_unique<Worker>();
  worker->stream = stream;
  worker->thread = std::thread([raw = worker.get(), serve = std::move(serve)] {
    try {
      serve(*raw->stream);
    } catch (const std::exception& error) {
      std::cerr << "lumivale-standin: stream " << raw->stream->localId() << ": " << error.what()
                << "\n";
      raw->stream->close();
    }
    raw->finished = true;
  });
  workers_.push_back(std::move(worker));
}

// As adbd: the answer names the port asked for; the one really used (another when that
// one is taken here) is in service.adb.tcp.port.
void AdbConnection::switchToTcp(AdbStream& stream, const std::string& port) {
  int wanted = 0;
  auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), wanted);
  if (error != std::errc() || end != port.data() + port.size() || wanted < 1 || wanted > 65535) {
    stream.write("invalid port '" + port + "'\n");
  } else {
    context_.listenOverWifi(static_cast<uint16_t>(wanted));
    stream.write("restarting in TCP mode port: " + port + "\n");
  }
  stream.close();
}

void AdbConnection::reapFinishedWorkers() {
  std::erase_if(workers_, [](std::unique_ptr<Worker>& worker) {
    if (!worker->finished) return false;
    worker->thread.join();
    return true;
  });
}

}  // namespace lumivale::standin
