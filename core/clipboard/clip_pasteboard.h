#pragma once

#include <cstdint>
#include <string>

#include "core/clipboard/pasteboard_content.h"

namespace lumivale {

// The computer's clipboard as the shared clipboard sees it: a change count that grows
// with every copy, its content, and a write. The platform implements it.
class ClipPasteboard {
 public:
  virtual ~ClipPasteboard() = default;
  virtual std::int64_t changeCount() = 0;
  virtual PasteboardContent read() = 0;
  // Makes `text` the clipboard and returns the change count this write produced. Throws
  // ClipError when the clipboard cannot be written; it is then left as it was.
  virtual std::int64_t write(const std::string& text) = 0;
};

}  // namespace lumivale
