#pragma once

#include <functional>

#include "core/stop_token.h"
#include "core/tablet/wifi/network_changes.h"

namespace lumivale::WifiReconnect {

// Why a round runs.
enum class RoundCause { start, timer, networkChanged };

struct LoopTimes {
  // Between rounds when nothing happens.
  Seconds interval{30};
  // A network change is followed by more (a link and each of its addresses): the round
  // waits until none has come for this long ...
  Seconds settle{0.5};
  // ... but no longer than this after the first.
  Seconds settleAtMost{5};
};

// Runs `round` at once, then every `times.interval`, and after every network change once
// the changes have settled (a burst of them gives one round). Ends only by throwing:
// Cancelled once `stop` is cancelled, or what `round` throws.
void keepTrying(NetworkChanges& changes, const std::function<void(RoundCause)>& round,
                const StopToken& stop, const LoopTimes& times = {});

}  // namespace lumivale::WifiReconnect
