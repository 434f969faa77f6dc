#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/device-settings/device_setting.h"

namespace lumivale {

// One setting as read from the tablet: its value, or why it could not be read.
struct SettingReading {
  std::string id;
  std::string title;
  SettingTier tier;
  std::optional<SettingValue> value;
  std::optional<std::string> error;

  bool operator==(const SettingReading&) const = default;
};

// The fixed catalogue of settings a Mac knows, and reading them all at once.
namespace DeviceSettings {

// In the order of the pane and of `lumivale setting list`; built once, shared read-only.
const std::vector<DeviceSetting>& all();

const DeviceSetting* setting(const std::string& id);
// The same, failing with SettingError::unknown.
const DeviceSetting& settingNamed(const std::string& id);

// One reading per setting, in catalogue order, all read in one round trip. Never fails
// as a whole, but for a cancel (Cancelled; hand in a StoppedAdbRunner to make it
// cancellable): a setting whose reader fails gets the message as its error.
std::vector<SettingReading> readAll(AdbRunner& runner, const std::string& serial);

}  // namespace DeviceSettings
}  // namespace lumivale
