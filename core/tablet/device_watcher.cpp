#include "core/tablet/device_watcher.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/tablet/adb_error.h"

namespace lumivale {
namespace {

constexpr std::chrono::milliseconds kFirstRetry{500};
constexpr std::chrono::milliseconds kLongestRetry{30'000};

}  // namespace

DeviceWatcher::DeviceWatcher(const AdbBridge& bridge, std::function<void()> changed)
    : adbPath_(bridge.adbPath()), environment_(bridge.environment()), changed_(std::move(changed)) {
  std::shared_ptr<Spawn::Child> first;
  try {
    first = launch();
  } catch (const Spawn::Failure& failure) {
    throw AdbError(failure.message());
  }
  reader_ = std::thread([this, first] { follow(first); });
}

DeviceWatcher::~DeviceWatcher() {
  {
    std::lock_guard guard(lock_);
    stopping_ = true;
    if (child_) child_->signalIfRunning(SIGKILL);
  }
  stopped_.notify_all();
  reader_.join();
}

std::shared_ptr<Spawn::Child> DeviceWatcher::launch() {
  std::lock_guard guard(lock_);
  // Started under the lock, so that stopping either sees the child or prevents it.
  child_ = stopping_
               ? nullptr
               : Spawn::launch(adbPath_.string(), {"track-devices"}, environment_, true, false);
  return child_;
}

void DeviceWatcher::follow(std::shared_ptr<Spawn::Child> child) {
  auto retry = kFirstRetry;
  while (true) {
    if (child) {
      bool reported = forwardReports(*child);
      child->wait();
      if (stopping()) return;
      // The list adb had is no longer known to be true: look again.
      changed_();
      retry = reported ? kFirstRetry : std::min(retry * 2, kLongestRetry);
    }
    if (!pause(retry)) return;
    try {
      child = launch();
    } catch (const Spawn::Failure&) {
      child = nullptr;
      retry = std::min(retry * 2, kLongestRetry);
    }
  }
}

bool DeviceWatcher::forwardReports(Spawn::Child& child) {
  // Each report is one read's worth: a four-digit hex length and the list.
  int fd = child.stdoutPipe()->get();
  char buffer[4096];
  bool reported = false;
  for (;;) {
    ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got > 0) {
      reported = true;
      changed_();
    } else if (got == 0 || errno != EINTR) {
      return reported;
    }
  }
}

bool DeviceWatcher::stopping() {
  std::lock_guard guard(lock_);
  return stopping_;
}

bool DeviceWatcher::pause(std::chrono::milliseconds length) {
  std::unique_lock guard(lock_);
  return !stopped_.wait_for(guard, length, [this] { return stopping_; });
}

}  // namespace lumivale
