#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/fanotify.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

namespace lumivale::testing {

// Holds the first open of one file until `action` has run, so a test can change things at
// an exact moment of the code under test without timing; or, with Answer::deny, refuses every
// open of it (EPERM, root included): a file that cannot be read. Needs fanotify permission
// events (root); `available()` says whether they can be had.
class OpenTrap {
 public:
  enum class Answer { allow, deny };

  OpenTrap(const std::filesystem::path& file, std::function<void()> action,
           Answer answer = Answer::allow)
      : action_(std::move(action)), answer_(answer) {
    fanotify_ = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY);
    if (fanotify_ < 0 || ::pipe2(stop_, O_CLOEXEC) != 0 ||
        ::fanotify_mark(fanotify_, FAN_MARK_ADD, FAN_OPEN_PERM, AT_FDCWD, file.c_str()) != 0) {
      throw std::runtime_error("could not set the open trap");
    }
    thread_ = std::thread([this] { serve(); });
  }
  OpenTrap(const OpenTrap&) = delete;
  OpenTrap& operator=(const OpenTrap&) = delete;
  ~OpenTrap() {
    ::close(stop_[1]);
    thread_.join();
    ::close(stop_[0]);
    ::close(fanotify_);
  }

  static bool available() {
    const int probe = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY);
    if (probe < 0) return false;
    ::close(probe);
    return true;
  }

 private:
  void serve() {
    bool done = false;
    for (;;) {
      pollfd waits[2] = {{fanotify_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
      if (::poll(waits, 2, -1) < 0) continue;
      if (waits[1].revents != 0) return;
      fanotify_event_metadata event{};
      if (::read(fanotify_, &event, sizeof event) < static_cast<ssize_t>(sizeof event)) continue;
      if (!done) {
        done = true;
        if (action_) action_();
      }
      const __u32 verdict = answer_ == Answer::deny ? FAN_DENY : FAN_ALLOW;
      fanotify_response response{event.fd, verdict};
      (void)!::write(fanotify_, &response, sizeof response);
      ::close(event.fd);
    }
  }

  std::function<void()> action_;
  Answer answer_;
  int fanotify_ = -1;
  int stop_[2] = {-1, -1};
  std::thread thread_;
};

}  // namespace lumivale::testing
