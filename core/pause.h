#pragma once

#include "core/stop_token.h"

namespace lumivale {

// Waits `pause`, or less when `stop` is cancelled meanwhile, and then throws Cancelled.
void pauseFor(const StopToken& stop, Seconds pause);

}  // namespace lumivale
