#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

#include "core/tablet/adb_bridge.h"

namespace lumivale {

// Builds the shared bridge once. A caller that asks while it is being built waits for
// that build instead of starting its own; a failed build is tried again next time.
class AdbBridgeCache {
 public:
  using Builder = std::function<std::shared_ptr<AdbBridge>()>;
  explicit AdbBridgeCache(Builder builder) : builder_(std::move(builder)) {}

  std::shared_ptr<AdbBridge> get();

 private:
  Builder builder_;
  std::mutex mutex_;
  std::condition_variable finished_;
  bool building_ = false;
  unsigned generation_ = 0;  // counts finished builds, so waiters know theirs ended
  std::shared_ptr<AdbBridge> bridge_;
  std::exception_ptr failure_;
};

}  // namespace lumivale
