#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "core/tablet/adb_bridge.h"

namespace lumivale {

// Follows `adb track-devices` and calls `changed` whenever adb's device list changes
// (a cable plugged in or out, a Wi-Fi connection made or lost), so the owner can
// take a new look. Portable in place of the system's USB notifications. When the
// tracking ends (the server stopped or was replaced) `changed` is called too, and
// tracking starts again after a pause that grows while it keeps failing.
class DeviceWatcher {
 public:
  // Throws AdbError when adb cannot be started at all.
  DeviceWatcher(const AdbBridge& bridge, std::function<void()> changed);
  DeviceWatcher(const DeviceWatcher&) = delete;
  DeviceWatcher& operator=(const DeviceWatcher&) = delete;
  // Stops the tracking adb and waits for the reader to end.
  ~DeviceWatcher();

 private:
  std::shared_ptr<Spawn::Child> launch();
  void follow(std::shared_ptr<Spawn::Child> child);
  // Calls `changed` for each report until the tracking ends; true when any came.
  bool forwardReports(Spawn::Child& child);
  bool stopping();
  // False when the watcher was stopped during the pause.
  bool pause(std::chrono::milliseconds length);

  const std::filesystem::path adbPath_;
  const Environment environment_;
  const std::function<void()> changed_;
  std::mutex lock_;
  std::condition_variable stopped_;
  bool stopping_ = false;                // guarded by lock_
  std::shared_ptr<Spawn::Child> child_;  // guarded by lock_
  std::thread reader_;
};

}  // namespace lumivale
