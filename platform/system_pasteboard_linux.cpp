#include <cstdlib>

#include "platform/desktop_pasteboard.h"
#include "platform/file_pasteboard.h"
#include "platform/system_pasteboard.h"

namespace lumivale::SystemPasteboard {
namespace {

const char* setOrNull(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? value : nullptr;
}

const char* privateFile() {
  return setOrNull(environmentKey);
}

}  // namespace

std::unique_ptr<ClipPasteboard> open() {
  if (const char* file = privateFile()) return std::make_unique<FilePasteboard>(file);
  return std::make_unique<DesktopPasteboard>();
}

std::optional<std::string> unseenCopies() {
  if (privateFile() || setOrNull("DISPLAY") || !setOrNull("WAYLAND_DISPLAY")) return std::nullopt;
  return "on Wayland only the window in front sees the clipboard, so copies made on this "
         "computer may not reach the tablet (a session with X or XWayland has no such limit)";
}

void copyAndKeep(const std::string& text, const StopToken& stop,
                 const std::function<void()>& waiting) {
  if (const char* file = privateFile()) {
    FilePasteboard(file).write(text);
    return;
  }
  DesktopPasteboard desktop;
  desktop.write(text);
  if (!desktop.offeredAlone()) return;
  waiting();
  desktop.keepOffered(keepLimit, stop);
}

}  // namespace lumivale::SystemPasteboard
