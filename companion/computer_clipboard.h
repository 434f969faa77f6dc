#pragma once

#include <functional>
#include <string>
#include <utility>

#include "core/clipboard/clipboard_history_copy.h"
#include "core/stop_token.h"
#include "platform/system_pasteboard.h"

namespace lumivale::companion {

// This computer's clipboard as one side a copy can be handed to, by a command that ends
// right after: where the copy would go with it, `waiting` is called and the command stays
// until something else is copied, `command` is cancelled or keepLimit passes.
class ComputerClipboard : public ClipHandOff {
 public:
  ComputerClipboard(StopToken command, std::function<void()> waiting)
      : command_(std::move(command)), waiting_(std::move(waiting)) {}
  void hand(const std::string& text) override {
    SystemPasteboard::copyAndKeep(text, command_, waiting_);
  }

 private:
  StopToken command_;
  std::function<void()> waiting_;
};

}  // namespace lumivale::companion
