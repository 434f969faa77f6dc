#pragma once

#include <string>

#include "core/error.h"

namespace lumivale {

// An operation stopped because its caller cancelled it (a stop token was cancelled).
// A deadline that runs out is a time-out of the step, never this.
class Cancelled : public Error {
 public:
  Cancelled() : Error("cancelled") {}
  // A cancel that left something behind, with what and how to clear it.
  explicit Cancelled(const std::string& left) : Error("cancelled. " + left) {}
};

}  // namespace lumivale
