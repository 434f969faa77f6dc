#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/clipboard/clip_direction.h"
#include "core/clipboard/pasteboard_content.h"

namespace lumivale {

// Which side's change wins, and which changes are only the echo of our own.
struct ClipSyncState {
  struct Send {  // make this the tablet's clipboard
    std::string text;
    bool operator==(const Send&) const = default;
  };
  struct Apply {  // make this the computer's clipboard
    std::string text;
    bool operator==(const Apply&) const = default;
  };
  struct Skip {
    ClipDirection direction = ClipDirection::macToLumivale;
    std::string reason;
    bool operator==(const Skip&) const = default;
  };
  using Decision = std::variant<std::monostate, Send, Apply, Skip>;

  std::int64_t lastMacChangeCount = 0;
  std::optional<std::int64_t> ownWriteChangeCount;
  std::optional<std::string> lastToLumivale;
  std::optional<std::string> lastFromLumivale;
  std::vector<std::string> pendingSets;  // sent, not yet acknowledged, oldest first
  std::optional<std::string> deferredTabletText;
  std::optional<std::int64_t> deniedChangeCount;
  bool macChanging = false;  // the last read found the clipboard changing
  bool operator==(const ClipSyncState&) const = default;

  // The computer's clipboard now has `changeCount`; `read` is called only when its content
  // matters.
  Decision macChanged(std::int64_t changeCount, const std::function<PasteboardContent()>& read);
  // The tablet reported a copy of `text`.
  Decision tabletChanged(const std::string& text);
  // The tablet took the oldest pending set; what it carried.
  std::optional<std::string> setAcknowledged();
  // The tablet refused the oldest pending set, for `reason` as the helper gave it.
  Decision setRefused(std::string_view reason);
};

}  // namespace lumivale
