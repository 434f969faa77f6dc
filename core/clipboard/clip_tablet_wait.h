#pragma once

#include <string>

#include "core/stop_token.h"

namespace lumivale {

class AdbBridge;

// Waits for a tablet connection to be ready again, for the link to restart on it.
class ClipTabletWait {
 public:
  virtual ~ClipTabletWait() = default;
  // True once `serial` is listed with the state "device"; false when `wait` passes or
  // `stop` is cancelled first.
  virtual bool waitForDevice(const std::string& serial, Seconds wait, const StopToken& stop) = 0;
};

// Looks again whenever adb's device list changes (and every few seconds besides).
class BridgeTabletWait final : public ClipTabletWait {
 public:
  explicit BridgeTabletWait(AdbBridge& bridge) : bridge_(bridge) {}
  bool waitForDevice(const std::string& serial, Seconds wait, const StopToken& stop) override;

 private:
  AdbBridge& bridge_;
};

}  // namespace lumivale
