#include "core/tablet/tool_run.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace lumivale {
namespace {

std::string readToEnd(UniqueFd& fd) {
  std::string data;
  char buffer[65536];
  for (;;) {
    ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
    if (got > 0) {
      data.append(buffer, static_cast<size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  fd.reset();
  return data;
}

// Kills the child when the deadline passes, unless the run ends first.
class KillTimer {
 public:
  KillTimer(std::shared_ptr<Spawn::Child> child, Seconds timeout)
      : thread_([this, child = std::move(child), timeout] {
          std::unique_lock lock(mutex_);
          if (!stopped_.wait_for(lock, timeout, [this] { return done_; })) {
            firedKill_ = child->signalIfRunning(SIGKILL);
          }
        }) {}
  ~KillTimer() { stop(); }

  void stop() {
    {
      std::lock_guard guard(mutex_);
      done_ = true;
    }
    stopped_.notify_all();
    if (thread_.joinable()) thread_.join();
  }
  bool fired() {
    std::lock_guard guard(mutex_);
    return firedKill_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool done_ = false;
  bool firedKill_ = false;
  std::thread thread_;
};

}  // namespace

std::vector<std::string> ToolRun::stderrLines() const {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < stderrData.size()) {
    size_t end = stderrData.find('\n', start);
    if (end == std::string::npos) end = stderrData.size();
    lines.push_back(stderrData.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

const Environment& ToolRun::environment() {
  static const Environment fixed{{"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"},
                                 {"LANG", "en_US.UTF-8"}};
  return fixed;
}

ToolRun ToolRun::run(const std::string& path, const std::vector<std::string>& arguments,
                     Seconds timeout, ToolCancel* cancel) {
  return runIn(environment(), path, arguments, timeout, cancel);
}

ToolRun ToolRun::runIn(const Environment& environment, const std::string& path,
                       const std::vector<std::string>& arguments, Seconds timeout,
                       ToolCancel* cancel) {
  ToolRun result;
  if (cancel && cancel->isCancelled()) {
    result.cancelled = true;
    return result;
  }
  auto child = Spawn::launch(path, arguments, environment, true, true);
  if (cancel && !cancel->attach(child)) child->signalIfRunning(SIGKILL);

  KillTimer timer(child, timeout);
  std::thread errorReader(
      [&result, &child] { result.stderrData = readToEnd(*child->stderrPipe()); });
  result.stdoutData = readToEnd(*child->stdoutPipe());
  errorReader.join();
  result.status = child->wait();
  timer.stop();
  result.timedOut = timer.fired();
  result.cancelled = cancel && cancel->isCancelled();
  return result;
}

}  // namespace lumivale
