#include "cli/interrupt_cancel.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "core/error.h"

#include "core/tablet/system_calls.h"

namespace lumivale::cli {

namespace {

// The write end the signal handler reports to; a handler may only write(2).
std::atomic<int> signalPipe{-1};
// Set by the handler itself, so a failure noticed right after the signal (adb was sent the
// same Ctrl-C) is known to be the interrupt even before the watcher has run.
std::atomic<bool> signalSeen{false};

constexpr char signalled = 's';
constexpr char finished = 'f';

void onSignal(int) {
  const int saved = errno;
  signalSeen = true;
  const int fd = signalPipe.load();
  if (fd >= 0) [[maybe_unused]]
    auto written = write(fd, &signalled, 1);
  errno = saved;
}

}  // namespace

bool InterruptCancel::interrupted() const {
  return interrupted_ || signalSeen;
}

InterruptCancel::InterruptCancel(StopToken command) : command_(std::move(command)) {
  auto ends = SystemCalls::openPipe();
  if (!ends) throw Error(std::string("could not get ready for Ctrl-C: ") + std::strerror(errno));
  pipe_[0] = ends->read.release();
  pipe_[1] = ends->write.release();
  signalPipe = pipe_[1];
  signalSeen = false;
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &oldInterrupt_);
  sigaction(SIGTERM, &action, &oldTerminate_);
  watcher_ = std::thread([this] {
    for (;;) {
      char byte = 0;
      const auto got = read(pipe_[0], &byte, 1);
      if (got < 0 && errno == EINTR) continue;
      if (got != 1 || byte == finished) return;
      interrupted_ = true;
      command_.cancel();
    }
  });
}

InterruptCancel::~InterruptCancel() {
  sigaction(SIGINT, &oldInterrupt_, nullptr);
  sigaction(SIGTERM, &oldTerminate_, nullptr);
  signalPipe = -1;
  [[maybe_unused]] auto written = write(pipe_[1], &finished, 1);
  watcher_.join();
  close(pipe_[0]);
  close(pipe_[1]);
}

}  // namespace lumivale::cli
