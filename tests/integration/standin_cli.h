#pragma once

#include <filesystem>

#include "core/tablet/spawn.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// What the real `lumivale` needs to work on `tablet` as a cabled one, with `settings` as
// its settings folder: the private adb server's variables and the stand-in hooks.
inline Environment standinCliEnvironment(const StandinTablet& tablet,
                                         const std::filesystem::path& settings) {
  Environment environment = tablet.adbEnvironment();
  environment["LUMIVALE_CONFIG_DIR"] = settings.string();
  environment["LUMIVALE_STANDIN_SERIAL"] = tablet.serial();
  environment["LUMIVALE_STANDIN_ONLY"] = "1";
  return environment;
}

}  // namespace lumivale::testing
