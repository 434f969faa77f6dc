#include "core/tablet/wifi/reconnect_loop.h"

#include <algorithm>

namespace lumivale::WifiReconnect {
namespace {

using Clock = StopToken::Clock;

Seconds until(Clock::time_point when) {
  return std::max(Seconds(0), std::chrono::duration_cast<Seconds>(when - Clock::now()));
}

Clock::time_point after(Seconds length) {
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(length);
}

}  // namespace

void keepTrying(NetworkChanges& changes, const std::function<void(RoundCause)>& round,
                const StopToken& stop, const LoopTimes& times) {
  RoundCause cause = RoundCause::start;
  for (;;) {
    stop.throwIfCancelled();
    round(cause);
    const auto next = after(times.interval);
    if (!changes.waitForChange(until(next), stop)) {
      cause = RoundCause::timer;
      continue;
    }
    const auto settled = after(times.settleAtMost);
    while (Clock::now() < settled && changes.waitForChange(times.settle, stop)) {
    }
    cause = RoundCause::networkChanged;
  }
}

}  // namespace lumivale::WifiReconnect
