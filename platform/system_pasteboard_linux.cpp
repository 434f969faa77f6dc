#include <cstdlib>

#include "core/clipboard/clip_error.h"
#include "platform/file_pasteboard.h"
#include "platform/system_pasteboard.h"

namespace lumivale::SystemPasteboard {

std::unique_ptr<ClipPasteboard> open() {
  const char* named = std::getenv(environmentKey);
  if (named && *named) return std::make_unique<FilePasteboard>(named);
  throw ClipError("the computer's clipboard cannot be reached: set LUMIVALE_CLIP_PASTEBOARD");
}

}  // namespace lumivale::SystemPasteboard
