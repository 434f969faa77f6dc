#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "core/settings/testing/temporary_settings_folder.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// Where the app's tests keep their screenshots: the folder LUMIVALE_SCREENSHOTS_DIR names
// (scripts/screenshots sets it), else one in the build folder.
inline std::filesystem::path screenshotFolder() {
  const char* chosen = std::getenv("LUMIVALE_SCREENSHOTS_DIR");
  return chosen != nullptr && *chosen != '\0' ? chosen : LUMIVALE_APP_SCREENSHOTS;
}

// A stand-in tablet through a private adb server, counted as a cabled tablet, and a
// settings folder and caches folder of the test's own: the process environment the app
// reads points at them, as a user's would point at their own adb, settings and caches.
class AppTestSetting {
 public:
  explicit AppTestSetting(StandinOptions options = {})
      : tablet_(std::make_unique<StandinTablet>(std::move(options))) {
    for (const auto& [name, value] : tablet_->adbEnvironment())
      ::setenv(name.c_str(), value.c_str(), 1);
    ::setenv("LUMIVALE_STANDIN_SERIAL", tablet_->serial().c_str(), 1);
    ::setenv("XDG_CACHE_HOME", caches_.path().c_str(), 1);
  }

  StandinTablet& tablet() { return *tablet_; }
  // The warmth as the tablet stores it (the level, without the shade bit above it).
  int warmth() const {
    ToolRun run = tablet_->shell("settings get system screen_brightness_amber_rate");
    return std::stoi(run.stdoutData) & 0xFF;
  }
  const std::filesystem::path& settingsFolder() const { return settings_.path(); }
  const std::filesystem::path& cachesFolder() const { return caches_.path(); }

 private:
  TemporarySettingsFolder settings_;
  TemporaryFolder caches_;
  std::unique_ptr<StandinTablet> tablet_;
};

}  // namespace lumivale::testing
