#include "core/pause.h"

#include <condition_variable>
#include <mutex>

namespace lumivale {

void pauseFor(const StopToken& stop, Seconds pause) {
  std::mutex mutex;
  std::condition_variable cancelled;
  bool stopped = false;
  StopToken::Hold hold = stop.hold([&] {
    std::lock_guard lock(mutex);
    stopped = true;
    cancelled.notify_all();
  });
  {
    std::unique_lock lock(mutex);
    cancelled.wait_for(lock, pause, [&] { return stopped; });
  }
  hold.release();
  stop.throwIfCancelled();
}

}  // namespace lumivale
