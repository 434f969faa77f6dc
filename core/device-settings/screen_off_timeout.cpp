#include "core/device-settings/screen_off_timeout.h"

namespace lumivale {

std::optional<ScreenOffTimeout> screenOffTimeout(long long milliseconds) {
  for (ScreenOffTimeout timeout : allScreenOffTimeouts) {
    if (static_cast<long long>(timeout) == milliseconds) return timeout;
  }
  return std::nullopt;
}

std::string title(ScreenOffTimeout timeout) {
  return std::to_string(milliseconds(timeout) / 60000) + " min";
}

}  // namespace lumivale
