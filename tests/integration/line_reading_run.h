#pragma once

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/tablet/spawn.h"

namespace lumivale::testing {

// How long a long-running command is given to show what is waited for: a loaded machine is
// slow, a wrong answer stays wrong.
constexpr auto kLong = std::chrono::minutes(3);

// A long-running command (`clipboard share`, `folder watch`), its output read line by line as
// it comes. The destructor kills what is still running.
class LineReadingRun {
 public:
  LineReadingRun(const std::string& program, const std::vector<std::string>& arguments,
                 const Environment& environment)
      : child_(Spawn::launch(program, arguments, environment, true, true)) {
    output_ = std::thread([this] { collect(*child_->stdoutPipe(), true); });
    errors_ = std::thread([this] { collect(*child_->stderrPipe(), false); });
  }
  ~LineReadingRun() {
    child_->signalIfRunning(SIGKILL);
    finish();
  }

  // Waits for a status line beginning with `start`, after those already waited for.
  bool waitForLine(const std::string& start) {
    std::unique_lock guard(lock_);
    bool found = false;
    changed_.wait_for(guard, kLong, [&] {
      for (; next_ < lines_.size() && !found; ++next_)
        found = lines_[next_].starts_with(start);
      return found || closed_ == 2;
    });
    return found;
  }
  // Ctrl-C, then the exit status.
  int interrupt() {
    child_->signalIfRunning(SIGINT);
    return finish();
  }
  int finish() {
    if (!status_) status_ = child_->wait();
    if (output_.joinable()) output_.join();
    if (errors_.joinable()) errors_.join();
    return *status_;
  }
  std::string errors() {
    std::lock_guard guard(lock_);
    return errorText_;
  }
  std::string transcript() {
    std::lock_guard guard(lock_);
    std::string all;
    for (const auto& line : lines_)
      all += line + "\n";
    return all + errorText_;
  }

 private:
  void collect(UniqueFd& pipe, bool lines) {
    std::string pending;
    char buffer[4096];
    ssize_t got;
    while ((got = ::read(pipe.get(), buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR)) {
      if (got < 0) continue;
      std::lock_guard guard(lock_);
      if (!lines) {
        errorText_.append(buffer, static_cast<std::size_t>(got));
        continue;
      }
      pending.append(buffer, static_cast<std::size_t>(got));
      for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
        lines_.push_back(pending.substr(0, end));
        pending.erase(0, end + 1);
      }
      changed_.notify_all();
    }
    std::lock_guard guard(lock_);
    ++closed_;
    changed_.notify_all();
  }

  std::shared_ptr<Spawn::Child> child_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
  std::string errorText_;
  int closed_ = 0;
  std::optional<int> status_;
  std::thread output_;
  std::thread errors_;
};

// Waits until `holds`, for minutes.
inline bool within(const std::function<bool()>& holds) {
  const auto giveUp = std::chrono::steady_clock::now() + kLong;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace lumivale::testing
