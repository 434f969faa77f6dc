#include "core/tablet/device_watcher.h"

#include <algorithm>

#include "core/tablet/adb_error.h"

namespace lumivale {
namespace {

constexpr std::chrono::milliseconds kFirstRetry{500};
constexpr std::chrono::milliseconds kLongestRetry{30'000};
// adb's host protocol gives a report's length in four hex digits.
constexpr std::size_t kLongestReport = 0xffff;

}  // namespace

DeviceWatcher::DeviceWatcher(AdbStreamRunner& runner, std::function<void()> changed)
    : runner_(runner), changed_(std::move(changed)) {
  auto first = open();
  {
    std::lock_guard guard(lock_);
    tracking_ = std::move(first);
  }
  follower_ = std::thread([this] { follow(); });
}

DeviceWatcher::~DeviceWatcher() {
  std::unique_ptr<AdbStream> tracking;
  {
    std::lock_guard guard(lock_);
    stopping_ = true;
    tracking = std::move(tracking_);
  }
  stop_.cancel();
  wake_.notify_all();
  // track-devices reads no input: nothing to wait for before the kill.
  if (tracking) tracking->stop(Seconds(0));
  follower_.join();
}

std::unique_ptr<AdbStream> DeviceWatcher::open() {
  AdbStreamOptions options;
  options.framing = RecordFraming::lengthPrefixed;
  options.maxRecord = kLongestReport;
  options.input = false;
  return runner_.openStream({"track-devices"}, options, *this, &stop_);
}

void DeviceWatcher::received(std::string_view) {
  {
    std::lock_guard guard(lock_);
    reported_ = true;
  }
  changed_();
}

void DeviceWatcher::ended(const AdbStreamEnd&) {
  std::lock_guard guard(lock_);
  trackingEnded_ = true;
  wake_.notify_all();
}

void DeviceWatcher::follow() {
  auto retry = kFirstRetry;
  while (true) {
    std::unique_ptr<AdbStream> finished;
    bool reported = false;
    {
      std::unique_lock guard(lock_);
      wake_.wait(guard, [this] { return stopping_ || trackingEnded_ || !tracking_; });
      if (stopping_) return;
      finished = std::move(tracking_);
      reported = std::exchange(reported_, false);
      trackingEnded_ = false;
    }
    if (finished) {
      finished.reset();
      // The list adb had is no longer known to be true: look again.
      changed_();
      retry = reported ? kFirstRetry : std::min(retry * 2, kLongestRetry);
    }
    if (!pause(retry)) return;
    try {
      // Opened outside the lock: a stop meanwhile cancels the token, which kills it.
      auto opened = open();
      std::lock_guard guard(lock_);
      if (stopping_) return;
      tracking_ = std::move(opened);
    } catch (const AdbError&) {
      retry = std::min(retry * 2, kLongestRetry);
    }
  }
}

bool DeviceWatcher::pause(std::chrono::milliseconds length) {
  std::unique_lock guard(lock_);
  return !wake_.wait_for(guard, length, [this] { return stopping_; });
}

}  // namespace lumivale
