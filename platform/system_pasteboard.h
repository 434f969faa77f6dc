#pragma once

#include <memory>

#include "core/clipboard/clip_pasteboard.h"

namespace lumivale::SystemPasteboard {

// Names a file to use as a private clipboard instead of the desktop's.
inline constexpr const char* environmentKey = "LUMIVALE_CLIP_PASTEBOARD";

// The computer's clipboard: the private one the environment names, else the desktop's
// (its toolkit loaded on this first use). Throws ClipError when the desktop's cannot be
// reached.
std::unique_ptr<ClipPasteboard> open();

}  // namespace lumivale::SystemPasteboard
