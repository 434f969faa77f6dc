#include "core/checked_number.h"
#include "core/device-settings/component_queries.h"
#include "core/device-settings/device_settings.h"
#include "core/device-settings/screen_off_timeout.h"
#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale::DeviceSettings {
namespace {

using Outputs = std::vector<std::string>;
using Values = std::vector<SettingValue>;

// The amber rate's bits above the level: 256 is the shade, which only the tablet sets.
constexpr long long aboveWarmthLevel = ~0xFFLL;

const std::string amberRate = "screen_brightness_amber_rate";

std::string settingsGet(const std::string& space, const std::string& key) {
  return TabletShell::line({"settings", "get", space, key});
}

std::string settingsPut(const std::string& space, const std::string& key,
                        const std::string& value) {
  return TabletShell::line({"settings", "put", space, key, value});
}

long long stored(const std::string& text) {
  if (auto number = SettingParse::wholeNumber(text)) return *number;
  throw SettingError::unexpectedOutput(text);
}

// One `settings get` key; `interpret` turns its stored text into the value, if any.
SettingReader keyReader(const std::string& space, const std::string& key,
                        std::function<std::optional<SettingValue>(const std::string&)> interpret) {
  return {{settingsGet(space, key)}, [interpret](const Outputs& outputs) -> Values {
            auto text = SettingParse::settingsAnswer(outputs.front());
            if (!text) return {};
            if (auto value = interpret(*text)) return {*value};
            return {};
          }};
}

SettingReader levelReader(const std::string& space, const std::string& key) {
  return keyReader(space, key, [](const std::string& text) {
    auto level = CheckedNumber::narrowed<int>(stored(text));
    if (!level) throw SettingError::unexpectedOutput(text);
    return SettingValue::level(*level);
  });
}

SettingReader toggleReader(const std::string& space, const std::string& key) {
  return keyReader(space, key, [](const std::string& text) {
    auto isOn = SettingParse::bool01(text);
    if (!isOn) throw SettingError::unexpectedOutput(text);
    return SettingValue::on(*isOn);
  });
}

SettingReader componentsReader(std::vector<std::string> commands,
                               std::function<std::vector<std::string>(const Outputs&)> components) {
  return {std::move(commands), [components](const Outputs& outputs) {
            Values values;
            for (auto& component : components(outputs))
              values.push_back(SettingValue::choice(component));
            return values;
          }};
}

SettingWriter putWriter(const std::string& space, const std::string& key) {
  return [space, key](AdbRunner& runner, const std::string& serial, const SettingValue& value) {
    std::string text = value.asOn() ? (*value.asOn() ? "1" : "0") : value.text();
    SettingShell::check(runner, serial, {settingsPut(space, key, text)});
  };
}

// A writer that runs one command with the chosen value appended.
SettingWriter commandWriter(std::vector<std::string> arguments) {
  return [arguments](AdbRunner& runner, const std::string& serial, const SettingValue& value) {
    auto withValue = arguments;
    withValue.push_back(value.text());
    SettingShell::check(runner, serial, {TabletShell::line(withValue)});
  };
}

void writeWarmth(AdbRunner& runner, const std::string& serial, const SettingValue& value) {
  auto current = SettingParse::settingsAnswer(
      SettingShell::check(runner, serial, {settingsGet("system", amberRate)}).front());
  long long kept = current ? stored(*current) & aboveWarmthLevel : 0;
  SettingShell::check(runner, serial,
                      {settingsPut("system", amberRate, std::to_string(kept | *value.asLevel()))});
}

void writeScreensaver(AdbRunner& runner, const std::string& serial, const SettingValue& value) {
  std::vector<std::string> commands{settingsPut("secure", "screensaver_components", value.text()),
                                    settingsPut("secure", "screensaver_enabled", "1")};
  SettingShell::check(runner, serial, commands);
}

std::vector<SettingChoice> screenOffChoices() {
  std::vector<SettingChoice> choices;
  for (auto timeout : allScreenOffTimeouts)
    choices.push_back({std::to_string(milliseconds(timeout)), title(timeout)});
  return choices;
}

DeviceSetting unavailable(std::string id, std::string title, const std::string& reason) {
  return {std::move(id),
          std::move(title),
          reason,
          SettingTier::unavailable(reason),
          {},
          {},
          {},
          {},
          {}};
}

std::vector<DeviceSetting> catalogue() {
  const std::string tabletUpdate = "Needs a tablet update before a Mac can change it.";
  std::vector<std::string> resolveHome{"cmd", "package", "resolve-activity", "--brief"};
  for (auto& each : ComponentQueries::homeIntent())
    resolveHome.push_back(each);

  return {
      {"warmth",
       "Warmth",
       "Amber backlight, 0 (blue) to 255 (amber). Settings.System screen_brightness_amber_rate; "
       "bit 256 is the shade and is left alone.",
       SettingTier::device(),
       DeviceSetting::Slider{0, 255},
       keyReader("system", amberRate,
                 [](const std::string& text) {
                   return SettingValue::level(static_cast<int>(stored(text) & 0xFF));
                 }),
       writeWarmth,
       {},
       {}},
      {"brightness",
       "Brightness",
       "Backlight level 0-255 (Settings.System screen_brightness).",
       SettingTier::device(),
       DeviceSetting::Slider{0, 255},
       levelReader("system", "screen_brightness"),
       putWriter("system", "screen_brightness"),
       {},
       {}},
      {"auto_brightness",
       "Automatic brightness",
       "Settings.System screen_brightness_mode: 1 lets the light sensor drive the backlight.",
       SettingTier::device(),
       DeviceSetting::Toggle{},
       toggleReader("system", "screen_brightness_mode"),
       putWriter("system", "screen_brightness_mode"),
       {},
       {}},
      {"screen_off_timeout",
       "Screen off after",
       "Settings.System screen_off_timeout, in milliseconds.",
       SettingTier::device(),
       DeviceSetting::Choice{screenOffChoices()},
       keyReader("system", "screen_off_timeout",
                 [](const std::string& text) -> std::optional<SettingValue> {
                   auto timeout = screenOffTimeout(stored(text));
                   if (!timeout) return std::nullopt;
                   return SettingValue::choice(std::to_string(milliseconds(*timeout)));
                 }),
       putWriter("system", "screen_off_timeout"),
       {},
       {}},
      {"stylus_boost",
       "Faster pen (120 Hz)",
       "Settings.Secure stylus_refresh_rate_boost (alpha 10 and later). Unset on older images.",
       SettingTier::adb(),
       DeviceSetting::Toggle{},
       toggleReader("secure", "stylus_refresh_rate_boost"),
       putWriter("secure", "stylus_refresh_rate_boost"),
       {},
       {}},
      {"dnd",
       "Do not disturb",
       "cmd notification set_dnd on|off; read from Settings.Global zen_mode.",
       SettingTier::adb(),
       DeviceSetting::Toggle{},
       keyReader("global", "zen_mode",
                 [](const std::string& text) { return SettingValue::on(stored(text) != 0); }),
       commandWriter({"cmd", "notification", "set_dnd"}),
       {},
       {}},
      {"density",
       "Display size",
       "wm density 240-320 dpi; Reset returns to the panel’s physical density.",
       SettingTier::adb(),
       DeviceSetting::Slider{240, 320},
       SettingReader{{TabletShell::line({"wm", "density"})},
                     [](const Outputs& outputs) -> Values {
                       auto info = SettingParse::density(outputs.front());
                       if (!info)
                         throw SettingError::unexpectedOutput(
                             TabletShell::firstLine(outputs.front()));
                       return {SettingValue::level(info->effective())};
                     }},
       commandWriter({"wm", "density"}),
       [](AdbRunner& runner, const std::string& serial) {
         SettingShell::check(runner, serial, {TabletShell::line({"wm", "density", "reset"})});
       },
       {}},
      {"screensaver",
       "Screensaver",
       "Settings.Secure screensaver_components; choosing one activates it (and turns "
       "screensaver_enabled on). Reads as unset while screensaver_enabled is 0.",
       SettingTier::adb(),
       DeviceSetting::InstalledComponents{
           {{"com.android.dreams.basic/com.android.dreams.basic.Colors", "Colors"}},
           ComponentQueries::screensavers},
       componentsReader({settingsGet("secure", "screensaver_enabled"),
                         settingsGet("secure", "screensaver_components")},
                        [](const Outputs& outputs) {
                          auto state = SettingParse::screensaver(outputs[0], outputs[1]);
                          if (state.enabled == false) return std::vector<std::string>{};
                          return state.components;
                        }),
       writeScreensaver,
       {},
       {"screensaver_enabled"}},
      {"home_app",
       "Home app",
       "cmd package set-home-activity, limited to the launchers the tablet reports for the HOME "
       "intent.",
       SettingTier::adb(),
       DeviceSetting::InstalledComponents{
           {{"com.android.launcher3/com.android.launcher3.uioverrides.QuickstepLauncher",
             "Launcher3"}},
           ComponentQueries::homeApps},
       componentsReader({TabletShell::line(resolveHome)},
                        [](const Outputs& outputs) {
                          // With no default chosen, the system's chooser answers.
                          auto found = SettingParse::components(outputs.front());
                          std::erase_if(found, [](const std::string& component) {
                            return component.starts_with("android/");
                          });
                          return found;
                        }),
       commandWriter({"cmd", "package", "set-home-activity"}),
       {},
       {}},
      {"notification_listener",
       "Notification access",
       "cmd notification allow_listener, limited to the listener services installed on the "
       "tablet. Allowing one adds it; reads back the first allowed listener.",
       SettingTier::adb(),
       DeviceSetting::InstalledComponents{{}, ComponentQueries::notificationListeners},
       componentsReader({settingsGet("secure", "enabled_notification_listeners")},
                        [](const Outputs& outputs) {
                          auto list = SettingParse::settingsAnswer(outputs.front());
                          return list ? SettingParse::componentList(*list, ':')
                                      : std::vector<std::string>{};
                        }),
       commandWriter({"cmd", "notification", "allow_listener"}),
       {},
       {}},
      unavailable("wifi", "Wi-Fi radio",
                  "The tablet does not allow this from a Mac, and turning Wi-Fi off would drop a "
                  "wireless connection."),
      unavailable("private_dns", "Private DNS and blocking", "Managed by Lumivale on the tablet."),
      unavailable("kids_mode", "Kids mode", tabletUpdate),
      unavailable("dns_preset", "DNS preset", tabletUpdate),
      unavailable("auto_brightness_preset", "Auto-brightness preset", tabletUpdate),
      unavailable("peak_refresh_rate", "Peak refresh rate", tabletUpdate),
      unavailable("amber_hal", "Finer warmth control",
                  "Warmth already works; a finer control is being looked at."),
  };
}

}  // namespace

const std::vector<DeviceSetting>& all() {
  static const std::vector<DeviceSetting> settings = catalogue();
  return settings;
}

}  // namespace lumivale::DeviceSettings
