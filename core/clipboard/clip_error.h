#pragma once

#include "core/error.h"

namespace lumivale {

// A failure of the shared clipboard, its helper or the line protocol.
class ClipError : public Error {
 public:
  using Error::Error;
};

}  // namespace lumivale
