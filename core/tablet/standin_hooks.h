#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "core/build_flavour.h"
#include "core/tablet/spawn.h"

namespace lumivale {

// Development builds may name a stand-in (an emulator or the stand-in tablet) that
// counts as a cabled LV-1 whatever its device line says, and may hide all others.
struct StandinHooks {
  std::optional<std::string> serial;  // LUMIVALE_STANDIN_SERIAL
  bool only = false;                  // LUMIVALE_STANDIN_ONLY
  // LUMIVALE_TABLET_TIMEOUT_SCALE: every deadline of a tablet command times this, so that
  // tests of a tablet that stops answering give up in moments rather than in minutes.
  double timeoutScale = 1;

  // Empty in customer builds, whatever the environment says.
  static StandinHooks from(const Environment& environment, BuildFlavour flavour = buildFlavour) {
    StandinHooks hooks;
    if (!developmentHooks(flavour)) return hooks;
    auto serial = environment.find("LUMIVALE_STANDIN_SERIAL");
    if (serial != environment.end() && !serial->second.empty()) hooks.serial = serial->second;
    auto only = environment.find("LUMIVALE_STANDIN_ONLY");
    hooks.only =
        hooks.serial && only != environment.end() && !only->second.empty() && only->second != "0";
    auto scale = environment.find("LUMIVALE_TABLET_TIMEOUT_SCALE");
    if (scale != environment.end()) {
      char* end = nullptr;
      const double value = std::strtod(scale->second.c_str(), &end);
      if (end && *end == '\0' && value > 0 && value <= 1) hooks.timeoutScale = value;
    }
    return hooks;
  }
};

}  // namespace lumivale
