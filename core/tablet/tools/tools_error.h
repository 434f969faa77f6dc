#pragma once

#include "core/error.h"

namespace lumivale {

// A failure while getting, checking or removing the program's own copy of Android's
// tools. Whatever it says, the copy that was there before is as it was.
class ToolsError : public Error {
 public:
  using Error::Error;
};

}  // namespace lumivale
