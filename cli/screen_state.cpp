#include "cli/screen_state.h"

#include <cctype>

#include <fmt/format.h>

#include "core/tablet/adb_error.h"

namespace lumivale::cli {

ScreenState readScreen(AdbBridge& bridge, const std::string& serial) {
  auto reading = bridge.screenReading(serial);
  return {std::move(reading.wakefulness), reading.keyguardShowing};
}

std::string describe(const ScreenState& screen) {
  std::string text = screen.wakefulness ? *screen.wakefulness : "unknown";
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return screen.locked ? text + ", locked" : text;
}

void requireScreenForInput(AdbBridge& bridge, const std::string& serial) {
  const ScreenState screen = readScreen(bridge, serial);
  // A tablet that does not say is refused by the bridge's own check, in its words.
  if (!screen.wakefulness) bridge.requireReadyForInput(serial);
  if (!screen.awake())
    throw AdbError(fmt::format(
        "your Lumivale is {}, not awake, so input would be dropped; wake it with lumivale wake "
        "first",
        describe({screen.wakefulness, false})));
  if (screen.locked) throw AdbError(lockScreenRefusal);
}

}  // namespace lumivale::cli
