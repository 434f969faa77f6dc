#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#include "core/stop_token.h"

namespace lumivale::cli {

// While it lives, Ctrl-C (SIGINT) or SIGTERM cancels the command's token instead of
// ending the program, so a transfer can stop its adb run and clean up what it staged.
class InterruptCancel {
 public:
  explicit InterruptCancel(StopToken command);
  ~InterruptCancel();
  InterruptCancel(const InterruptCancel&) = delete;
  InterruptCancel& operator=(const InterruptCancel&) = delete;

  // Whether Ctrl-C or SIGTERM came while it lived.
  bool interrupted() const;

 private:
  StopToken command_;
  std::atomic<bool> interrupted_{false};
  int pipe_[2] = {-1, -1};
  struct sigaction oldInterrupt_ {};
  struct sigaction oldTerminate_ {};
  std::thread watcher_;
};

}  // namespace lumivale::cli
