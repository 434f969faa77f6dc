#pragma once

#include <optional>
#include <string>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"

namespace lumivale::cli {

// Whether the tablet's screen would take input: awake, and past the lock screen.
struct ScreenState {
  std::optional<std::string> wakefulness;  // as the tablet says it: "Awake", "Asleep", ...
  bool locked = false;

  bool awake() const { return wakefulness == "Awake"; }
};

ScreenState readScreen(AdbBridge& bridge, const std::string& serial);

// "awake", "asleep, locked": the screen as `status` and `info` show it.
std::string describe(const ScreenState& screen);

// Refuses input the tablet would drop, ending with what to do about it.
void requireScreenForInput(AdbBridge& bridge, const std::string& serial);

}  // namespace lumivale::cli
