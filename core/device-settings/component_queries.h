#pragma once

#include <string>
#include <vector>

#include "core/device-settings/setting_value.h"
#include "core/tablet/adb_runner.h"

namespace lumivale {

// The components installed on the tablet that a setting may choose among, as the
// package manager reports them (title = the component until something better is known).
namespace ComponentQueries {

// The HOME intent, shared by the launcher list and the current launcher.
std::vector<std::string> homeIntent();

std::vector<SettingChoice> screensavers(AdbRunner& runner, const std::string& serial);
// Launchers, without the settings app's fallback home screen.
std::vector<SettingChoice> homeApps(AdbRunner& runner, const std::string& serial);
std::vector<SettingChoice> notificationListeners(AdbRunner& runner, const std::string& serial);

}  // namespace ComponentQueries
}  // namespace lumivale
