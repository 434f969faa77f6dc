#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/tablet/adb_device.h"

namespace lumivale {

// Whether the link for the pinned tablet can start now, and on which connection.
struct SharedClipboardRetry {
  std::optional<std::string> startSerial;  // start on it; none: wait
  bool operator==(const SharedClipboardRetry&) const = default;

  // The tablet with the pinned serial, or with a connection of that serial, starts on its
  // preferred connection once that one is ready; otherwise the link waits.
  static SharedClipboardRetry next(const std::string& pin, const std::vector<AdbTablet>& tablets);
};

}  // namespace lumivale
