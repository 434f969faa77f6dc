#include "core/device-settings/component_queries.h"

#include "core/device-settings/setting_parse.h"
#include "core/device-settings/setting_shell.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale::ComponentQueries {
namespace {

// Asking the package manager takes longer than reading a setting.
constexpr Seconds queryTimeout{15};

std::vector<SettingChoice> query(AdbRunner& runner, const std::string& serial,
                                 std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"cmd", "package"});
  auto output =
      SettingShell::check(runner, serial, {TabletShell::line(arguments)}, queryTimeout).front();
  std::vector<SettingChoice> choices;
  for (auto& component : SettingParse::components(output))
    choices.push_back({component, component});
  return choices;
}

std::vector<SettingChoice> services(AdbRunner& runner, const std::string& serial,
                                    const std::string& action) {
  return query(runner, serial, {"query-services", "--brief", "-a", action});
}

}  // namespace

std::vector<std::string> homeIntent() {
  return {"-a", "android.intent.action.MAIN", "-c", "android.intent.category.HOME"};
}

std::vector<SettingChoice> screensavers(AdbRunner& runner, const std::string& serial) {
  return services(runner, serial, "android.service.dreams.DreamService");
}

std::vector<SettingChoice> homeApps(AdbRunner& runner, const std::string& serial) {
  std::vector<std::string> arguments{"query-activities", "--brief"};
  for (auto& each : homeIntent())
    arguments.push_back(each);
  auto choices = query(runner, serial, arguments);
  std::erase_if(choices, [](const SettingChoice& choice) {
    return choice.value.starts_with("com.android.settings/");
  });
  return choices;
}

std::vector<SettingChoice> notificationListeners(AdbRunner& runner, const std::string& serial) {
  return services(runner, serial, "android.service.notification.NotificationListenerService");
}

}  // namespace lumivale::ComponentQueries
