#include "standin/shell_service.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <thread>

#include "standin/adb_message.h"
#include "standin/rooted_process.h"
#include "standin/write_all.h"

namespace lumivale::standin {
namespace {

enum PacketId : char {
  stdinData = 0,
  stdoutData = 1,
  stderrData = 2,
  exitStatus = 3,
  closeStdin = 4,
  windowSize = 5,
};
constexpr size_t kPacketHeaderSize = 5;

std::string packet(char id, std::string_view data) {
  std::string bytes(1, id);
  putLittleEndian32(bytes, static_cast<uint32_t>(data.size()));
  bytes.append(data);
  return bytes;
}

// "ROWSxCOLUMNS,XPIXELSxYPIXELS", as the client sends a terminal's size.
void resize(RootedProcess& process, std::string_view text) {
  unsigned rows = 0, columns = 0;
  if (std::sscanf(std::string(text).c_str(), "%ux%u", &rows, &columns) == 2)
    process.resizeTerminal(static_cast<unsigned short>(rows), static_cast<unsigned short>(columns));
}

// Feeds host data to the command's standard input until the stream closes.
void pumpInput(AdbStream& stream, RootedProcess& process, ShellProtocol protocol) {
  UniqueFd& input = process.input();
  std::string pending;
  while (auto data = stream.take()) {
    if (protocol == ShellProtocol::raw) {
      if (input && !writeAll(input.get(), *data)) input.reset();
      continue;
    }
    pending.append(*data);
    size_t used = 0;
    while (pending.size() - used >= kPacketHeaderSize) {
      uint32_t length =
          readLittleEndian32(reinterpret_cast<const unsigned char*>(pending.data() + used + 1));
      if (pending.size() - used - kPacketHeaderSize < length) break;
      char id = pending[used];
      std::string_view body(pending.data() + used + kPacketHeaderSize, length);
      if (id == stdinData && input && !writeAll(input.get(), body)) input.reset();
      if (id == closeStdin) input.reset();
      if (id == windowSize) resize(process, body);
      used += kPacketHeaderSize + length;
    }
    pending.erase(0, used);
  }
}

}  // namespace

void runShell(AdbStream& stream, const std::string& root, const ShellRequest& request,
              const AppProcessHost& appProcess) {
  bool v2 = request.protocol == ShellProtocol::v2;
  auto streams = request.terminal ? StandardStreams::terminal
                 : v2             ? StandardStreams::separate
                                  : StandardStreams::merged;
  auto hosted = appProcess.launch(request.command);
  auto started = hosted ? std::make_unique<RootedProcess>(std::move(*hosted), streams)
                        : std::make_unique<RootedProcess>(root, request.command, streams);
  RootedProcess& process = *started;
  std::thread inputPump([&] { pumpInput(stream, process, request.protocol); });

  // Room for a packet header in every WRTE, so one read is one WRTE.
  std::string buffer(stream.maxPayload() - kPacketHeaderSize, '\0');
  pollfd fds[3] = {{process.output().get(), POLLIN, 0},
                   {process.errors() ? process.errors().get() : -1, POLLIN, 0},
                   {stream.closedFd(), POLLIN, 0}};
  int open = process.errors() ? 2 : 1;
  bool hostGone = false;
  while (open > 0 && !hostGone) {
    if (::poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (fds[2].revents) {
      hostGone = true;
      break;
    }
    for (int index = 0; index < 2; ++index) {
      if (fds[index].fd < 0 || !fds[index].revents) continue;
      ssize_t got = ::read(fds[index].fd, buffer.data(), buffer.size());
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) {
        fds[index].fd = -1;
        --open;
        continue;
      }
      std::string_view data(buffer.data(), static_cast<size_t>(got));
      bool sent = v2 ? stream.write(packet(index == 0 ? stdoutData : stderrData, data))
                     : stream.write(data);
      if (!sent) hostGone = true;
    }
  }
  if (hostGone) process.kill();
  int status = process.wait();
  if (!hostGone && v2) stream.write(packet(exitStatus, std::string(1, static_cast<char>(status))));
  stream.close();
  inputPump.join();
}

}  // namespace lumivale::standin
