#pragma once

#include "core/error.h"

namespace lumivale {

// Every failure of the tablet link. toolsMissing is set when no usable adb exists,
// so a front end can offer to get Android's tools.
class AdbError : public Error {
 public:
  explicit AdbError(std::string message, bool toolsMissing = false)
      : Error(std::move(message)), toolsMissing_(toolsMissing) {}
  bool toolsMissing() const { return toolsMissing_; }

 private:
  bool toolsMissing_;
};

// One wording for the lock screen wherever the sentence is ours (the app's and the
// command line's screenshot, tap and type).
inline constexpr const char* lockScreenRefusal =
    "the lock screen is showing on your Lumivale; unlock it on the tablet first";

}  // namespace lumivale
