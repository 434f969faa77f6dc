#include "cli/exit_codes.h"

#include "core/device-settings/setting_error.h"
#include "core/files/files_error.h"

namespace lumivale::cli {

ExitCode exitCodeFor(const std::exception& error) {
  if (dynamic_cast<const UsageError*>(&error)) return exitUsage;
  if (dynamic_cast<const Cancelled*>(&error)) return exitInterrupted;
  // A setting id or value is what the user typed; the tablet's answers are failures.
  if (const auto* setting = dynamic_cast<const SettingError*>(&error)) {
    if (setting->which() == SettingError::Case::unknown ||
        setting->which() == SettingError::Case::badValue)
      return exitUsage;
  }
  return exitFailure;
}

}  // namespace lumivale::cli
