#include <cstdlib>

#include "platform/desktop_pasteboard.h"
#include "platform/file_pasteboard.h"
#include "platform/system_pasteboard.h"

namespace lumivale::SystemPasteboard {
namespace {

const char* privateFile() {
  const char* named = std::getenv(environmentKey);
  return named && *named ? named : nullptr;
}

}  // namespace

std::unique_ptr<ClipPasteboard> open() {
  if (const char* file = privateFile()) return std::make_unique<FilePasteboard>(file);
  return std::make_unique<DesktopPasteboard>();
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
