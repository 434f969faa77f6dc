#pragma once

#include <chrono>
#include <string>
#include <variant>

#include "core/clipboard/clip_direction.h"

namespace lumivale {

// One copy that went across, as the clipboard history records it, or a note that the
// tablet now holds something that did not come across.
struct ClipTransfer {
  struct Synced {
    ClipDirection direction = ClipDirection::macToLumivale;
    std::string text;
    std::chrono::system_clock::time_point at{};
    bool operator==(const Synced&) const = default;
  };
  struct TabletHoldsOther {
    std::string reason;
    bool operator==(const TabletHoldsOther&) const = default;
  };

  std::variant<Synced, TabletHoldsOther> value;
  bool operator==(const ClipTransfer&) const = default;
};

}  // namespace lumivale
