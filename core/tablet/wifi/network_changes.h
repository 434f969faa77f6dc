#pragma once

#include "core/stop_token.h"

namespace lumivale {

// Tells when this computer's network changes (a link going up or down, an address
// coming or going), so that tablets away can be tried again at once rather than at the
// next round. Each system has its own (a netlink socket on Linux).
class NetworkChanges {
 public:
  virtual ~NetworkChanges() = default;
  // Waits up to `timeout` for a change: true when one came. Throws Cancelled once
  // `stop` is cancelled.
  virtual bool waitForChange(Seconds timeout, const StopToken& stop) = 0;
};

}  // namespace lumivale
