#pragma once

#include <chrono>
#include <memory>

#include "core/clipboard/clip_pasteboard.h"
#include "core/stop_token.h"
#include "platform/desktop_clipboard.h"

namespace lumivale {

// This computer's desktop clipboard, through the Qt module that is loaded on first use
// so that commands which never touch the clipboard start without Qt.
class DesktopPasteboard : public ClipPasteboard {
 public:
  // Throws ClipError (or SharedLibraryError) when the desktop cannot be reached.
  DesktopPasteboard();

  std::int64_t changeCount() override;
  // `changing` when a copy came since changeCount() was asked.
  PasteboardContent read() override;
  std::int64_t write(const std::string& text) override;

  // Whether the copy written last would go when this process ends (X11 without a
  // clipboard manager).
  bool offeredAlone();
  // Stays until another program copies, `stop` is cancelled or `limit` passes.
  void keepOffered(std::chrono::milliseconds limit, const StopToken& stop);

 private:
  std::unique_ptr<DesktopClipboard> desktop_;
  std::int64_t countSeen_ = 0;
};

}  // namespace lumivale
