#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "core/stop_token.h"
#include "core/tablet/adb_runner.h"

namespace lumivale {

// Follows `adb track-devices` and calls `changed` whenever adb's device list changes
// (a cable plugged in or out, a Wi-Fi connection made or lost), so the owner can
// take a new look. Portable in place of the system's USB notifications. When the
// tracking ends (the server stopped or was replaced) `changed` is called too, and
// tracking starts again after a pause that grows while it keeps failing. `changed`
// is called on a worker thread, one call at a time.
class DeviceWatcher : private AdbStreamSink {
 public:
  // `runner` (the bridge) must outlive the watcher. Throws AdbError when adb cannot
  // be started at all.
  DeviceWatcher(AdbStreamRunner& runner, std::function<void()> changed);
  DeviceWatcher(const DeviceWatcher&) = delete;
  DeviceWatcher& operator=(const DeviceWatcher&) = delete;
  // Stops the tracking adb and waits for the watcher's thread to end.
  ~DeviceWatcher() override;

 private:
  // Each report of adb's is one length-prefixed device list.
  void received(std::string_view report) override;
  void ended(const AdbStreamEnd& end) override;

  std::unique_ptr<AdbStream> open();
  void follow();
  // False when the watcher was stopped during the pause.
  bool pause(std::chrono::milliseconds length);

  AdbStreamRunner& runner_;
  // Cancelled when the watcher goes, which kills a tracking child opened meanwhile.
  const StopToken stop_;
  const std::function<void()> changed_;
  std::mutex lock_;
  std::condition_variable wake_;
  bool stopping_ = false;                // guarded by lock_
  bool trackingEnded_ = false;           // guarded by lock_
  bool reported_ = false;                // guarded by lock_; a report came in this run
  std::unique_ptr<AdbStream> tracking_;  // guarded by lock_
  std::thread follower_;
};

}  // namespace lumivale
