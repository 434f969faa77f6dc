#include "core/tablet/adb_bridge_cache.h"

namespace lumivale {

std::shared_ptr<AdbBridge> AdbBridgeCache::get() {
  std::unique_lock lock(mutex_);
  if (bridge_) return bridge_;
  if (building_) {
    unsigned waitingFor = generation_;
    finished_.wait(lock, [&] { return generation_ != waitingFor; });
    if (bridge_) return bridge_;
    std::rethrow_exception(failure_);
  }
  building_ = true;
  lock.unlock();
  // Built outside the lock: finding adb runs tools.
  std::shared_ptr<AdbBridge> built;
  std::exception_ptr failure;
  try {
    built = builder_();
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  building_ = false;
  ++generation_;
  bridge_ = built;
  failure_ = failure;
  finished_.notify_all();
  if (failure) std::rethrow_exception(failure);
  return bridge_;
}

}  // namespace lumivale
