#pragma once

#include "core/error.h"

namespace lumivale {

// An operation stopped because its caller cancelled it (a stop token was cancelled).
// A deadline that runs out is a time-out of the step, never this.
class Cancelled : public Error {
 public:
  Cancelled() : Error("cancelled") {}
};

}  // namespace lumivale
