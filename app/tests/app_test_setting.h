#pragma once

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "core/settings/testing/temporary_settings_folder.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// A stand-in tablet through a private adb server, counted as a cabled tablet, and a
// settings folder of the test's own: the process environment the app reads points at
// both, as a user's would point at their own adb and settings.
class AppTestSetting {
 public:
  explicit AppTestSetting(StandinOptions options = {})
      : tablet_(std::make_unique<StandinTablet>(std::move(options))) {
    for (const auto& [name, value] : tablet_->adbEnvironment())
      ::setenv(name.c_str(), value.c_str(), 1);
    ::setenv("LUMIVALE_STANDIN_SERIAL", tablet_->serial().c_str(), 1);
  }

  StandinTablet& tablet() { return *tablet_; }
  // The warmth as the tablet stores it (the level, without the shade bit above it).
  int warmth() const {
    ToolRun run = tablet_->shell("settings get system screen_brightness_amber_rate");
    return std::stoi(run.stdoutData) & 0xFF;
  }
  const std::filesystem::path& settingsFolder() const { return settings_.path(); }

 private:
  TemporarySettingsFolder settings_;
  std::unique_ptr<StandinTablet> tablet_;
};

}  // namespace lumivale::testing
