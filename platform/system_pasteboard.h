#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/clipboard/clip_pasteboard.h"
#include "core/stop_token.h"

namespace lumivale::SystemPasteboard {

// Names a file to use as a private clipboard instead of the desktop's.
inline constexpr const char* environmentKey = "LUMIVALE_CLIP_PASTEBOARD";

// How long a command that copied to the desktop's clipboard stays to keep offering it.
inline constexpr std::chrono::seconds keepLimit{60};

// The computer's clipboard: the private one the environment names, else the desktop's
// (its toolkit loaded on this first use). Throws ClipError when the desktop's cannot be
// reached.
std::unique_ptr<ClipPasteboard> open();

// Why copies made on this computer may go unseen, where they may: without X, Wayland
// shows the clipboard only to the window in front.
std::optional<std::string> unseenCopies();

// Makes `text` the clipboard for a command that ends right after. Where the copy would go
// with this process (X11 without a clipboard manager), calls `waiting` and stays until
// another program copies, `stop` is cancelled or keepLimit passes.
void copyAndKeep(const std::string& text, const StopToken& stop,
                 const std::function<void()>& waiting);

}  // namespace lumivale::SystemPasteboard
