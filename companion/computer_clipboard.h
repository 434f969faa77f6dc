#pragma once

#include <string>

#include "core/clipboard/clipboard_history_copy.h"
#include "platform/system_pasteboard.h"

namespace lumivale::companion {

// This computer's clipboard as one side a copy can be handed to.
class ComputerClipboard : public ClipHandOff {
 public:
  void hand(const std::string& text) override { SystemPasteboard::open()->write(text); }
};

}  // namespace lumivale::companion
