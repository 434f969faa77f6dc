#include "core/device-settings/device_settings.h"

#include <algorithm>

#include "core/cancelled.h"
#include "core/device-settings/setting_error.h"

namespace lumivale::DeviceSettings {
namespace {

// Every reader in one shell line: a few more seconds than one command gets.
constexpr Seconds readAllTimeout{20};

}  // namespace

const DeviceSetting* setting(const std::string& id) {
  const auto& settings = all();
  auto found = std::find_if(settings.begin(), settings.end(),
                            [&](const DeviceSetting& each) { return each.id == id; });
  return found == settings.end() ? nullptr : &*found;
}

const DeviceSetting& settingNamed(const std::string& id) {
  if (const auto* found = setting(id)) return *found;
  throw SettingError::unknown(id);
}

std::vector<SettingReading> readAll(AdbRunner& runner, const std::string& serial) {
  std::vector<std::string> commands;
  for (const auto& each : all()) {
    if (each.reader)
      commands.insert(commands.end(), each.reader->commands.begin(), each.reader->commands.end());
  }
  std::vector<SettingShell::Answer> answers;
  std::optional<std::string> failure;
  try {
    answers = SettingShell::run(runner, serial, commands, readAllTimeout);
  } catch (const Cancelled&) {
    throw;  // a cancel ends the whole reading, not one setting
  } catch (const Error& error) {
    failure = error.message();
  }

  std::vector<SettingReading> readings;
  auto next = answers.begin();
  for (const auto& each : all()) {
    SettingReading reading{each.id, each.title, each.tier, std::nullopt, std::nullopt};
    if (each.reader && failure) {
      reading.error = failure;
    } else if (each.reader) {
      auto end = next + static_cast<std::ptrdiff_t>(each.reader->commands.size());
      try {
        auto values = each.held({next, end});
        if (!values.empty()) reading.value = values.front();
      } catch (const Cancelled&) {
        throw;
      } catch (const Error& error) {
        reading.error = error.message();
      }
      next = end;
    }
    readings.push_back(std::move(reading));
  }
  return readings;
}

}  // namespace lumivale::DeviceSettings
