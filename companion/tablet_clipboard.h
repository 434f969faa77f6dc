#pragma once

#include <optional>
#include <string>

#include "core/clipboard/clipboard_history_copy.h"
#include "core/stop_token.h"

namespace lumivale::companion {

// The chosen tablet's clipboard as one side a copy can be handed to: each hand-off finds
// the ready tablet and runs the helper for that one request.
class TabletClipboard : public ClipHandOff {
 public:
  TabletClipboard(std::optional<std::string> pinnedSerial, StopToken command)
      : pinnedSerial_(std::move(pinnedSerial)), command_(std::move(command)) {}

  void hand(const std::string& text) override;

 private:
  std::optional<std::string> pinnedSerial_;
  StopToken command_;
};

}  // namespace lumivale::companion
