#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "core/tablet/adb_bridge.h"

namespace lumivale {

// Follows `adb track-devices` and calls `changed` whenever adb's device list changes
// (a cable plugged in or out, a Wi-Fi connection made or lost), so the owner can
// take a new look. Portable in place of the system's USB notifications.
class DeviceWatcher {
 public:
  DeviceWatcher(const AdbBridge& bridge, std::function<void()> changed);
  DeviceWatcher(const DeviceWatcher&) = delete;
  DeviceWatcher& operator=(const DeviceWatcher&) = delete;
  // Stops the tracking adb and waits for the reader to end.
  ~DeviceWatcher();

 private:
  std::shared_ptr<Spawn::Child> child_;
  std::thread reader_;
};

}  // namespace lumivale
