#include "core/clipboard/clip_tablet_wait.h"

#include <condition_variable>
#include <memory>
#include <mutex>

#include "core/error.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/device_watcher.h"

namespace lumivale {
namespace {

// A fallback for changes the tracking misses (or when it cannot run).
constexpr Seconds kLookAgain{3};

}  // namespace

bool BridgeTabletWait::waitForDevice(const std::string& serial, Seconds wait,
                                     const StopToken& stop) {
  using Duration = StopToken::Clock::duration;
  const auto deadline = StopToken::Clock::now() + std::chrono::duration_cast<Duration>(wait);
  const auto lookAgain = std::chrono::duration_cast<Duration>(kLookAgain);
  std::mutex lock;
  std::condition_variable wake;
  bool changed = false;
  auto notify = [&] {
    std::lock_guard guard(lock);
    changed = true;
    wake.notify_all();
  };
  auto cancelHold = stop.hold(notify);
  std::unique_ptr<DeviceWatcher> watcher;
  try {
    watcher = std::make_unique<DeviceWatcher>(bridge_, notify);
  } catch (const Error&) {
    // Looking every few seconds still finds it.
  }
  while (true) {
    try {
      const StopToken look = stop.child(kLookAgain);
      if (bridge_.deviceReady(serial, &look)) return true;
    } catch (const Error&) {
      // adb not answering is one more reason to wait.
    }
    if (stop.isCancelled() || StopToken::Clock::now() >= deadline) return false;
    std::unique_lock guard(lock);
    const auto next = std::min(deadline, StopToken::Clock::now() + lookAgain);
    wake.wait_until(guard, next, [&] { return changed; });
    changed = false;
  }
}

}  // namespace lumivale
