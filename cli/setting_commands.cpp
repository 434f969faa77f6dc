#include "cli/setting_commands.h"

#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "companion/tablet_link.h"
#include "core/device-settings/device_settings.h"
#include "core/device-settings/setting_error.h"

namespace lumivale::cli {
namespace {

// What a reading shows: its value, "Unset on this tablet.", its error, or why it cannot be had.
std::string shown(const SettingReading& reading) {
  if (reading.error) return "error: " + *reading.error;
  if (reading.tier.reason()) return *reading.tier.reason();
  return DeviceSettings::settingNamed(reading.id).display(reading.value);
}

void printReadings(const std::vector<SettingReading>& readings) {
  std::optional<SettingTier::Kind> group;
  for (const auto& reading : readings) {
    if (reading.tier.kind() != group) {
      std::cout << (group ? "\n" : "") << reading.tier.groupTitle() << "\n";
      group = reading.tier.kind();
    }
    std::cout << fmt::format("  {:<23}{:<26}{}\n", reading.id, reading.title, shown(reading));
  }
}

// Always the text typed back to set it ("on", "120", "60000"), so one type for every setting.
nlohmann::ordered_json jsonValue(const std::optional<SettingValue>& value) {
  if (!value) return nullptr;
  return value->text();
}

nlohmann::ordered_json reasonJson(const SettingTier& tier) {
  return tier.reason() ? nlohmann::ordered_json(*tier.reason()) : nullptr;
}

// {"id", "value", "shown", "reason"}: one setting's value, from get, set, reset, warmth and
// brightness; "reason" says why a setting is not available, null when it is.
void printValue(const DeviceSetting& setting, const std::optional<SettingValue>& value, bool json) {
  const std::string text = setting.tier.reason() ? *setting.tier.reason() : setting.display(value);
  if (!json) {
    std::cout << text << "\n";
    return;
  }
  nlohmann::ordered_json shape;
  shape["id"] = setting.id;
  shape["value"] = jsonValue(value);
  shape["shown"] = text;
  shape["reason"] = reasonJson(setting.tier);
  std::cout << shape.dump(2) << "\n";
}

nlohmann::ordered_json readingsJson(const std::vector<SettingReading>& readings) {
  auto list = nlohmann::ordered_json::array();
  for (const auto& reading : readings) {
    nlohmann::ordered_json entry;
    entry["id"] = reading.id;
    entry["title"] = reading.title;
    entry["tier"] = reading.tier.label();
    entry["reason"] = reasonJson(reading.tier);
    entry["value"] = jsonValue(reading.value);
    entry["shown"] = shown(reading);
    entry["error"] = reading.error ? nlohmann::ordered_json(*reading.error) : nullptr;
    list.push_back(std::move(entry));
  }
  return list;
}

// What `choices` prints for settings whose values are not a list.
std::string takes(const DeviceSetting& setting) {
  if (const auto* slider = std::get_if<DeviceSetting::Slider>(&setting.kind))
    return fmt::format("a whole number {}-{}", slider->min, slider->max);
  return "on or off";
}

const DeviceSetting& changeable(const std::string& id) {
  const auto& setting = DeviceSettings::settingNamed(id);
  if (setting.tier.reason()) throw SettingError::unavailable(id, *setting.tier.reason());
  return setting;
}

// Writes and prints what the tablet reads back; a tablet that kept another value is a failure.
void setAndShow(const GlobalOptions& options, const std::string& id, const std::string& text,
                bool json) {
  const auto& setting = DeviceSettings::settingNamed(id);
  auto wanted = setting.parse(text);
  auto session = companion::requireReadyTablet(options.serial, options.command);
  auto now = setting.write(wanted, *session.bridge, session.serial);
  printValue(setting, now, json);
  if (!now || !setting.sameValue(*now, wanted))
    throw Error(fmt::format("'{}' reads back as {}, not {}", id, setting.display(now),
                            setting.display(wanted)));
}

void showValue(const GlobalOptions& options, const std::string& id, bool json) {
  const auto& setting = DeviceSettings::settingNamed(id);
  // Reading one that is not available holds no value and its reason; the tablet has no say.
  if (setting.tier.reason()) return printValue(setting, std::nullopt, json);
  auto session = companion::requireReadyTablet(options.serial, options.command);
  printValue(setting, setting.read(*session.bridge, session.serial), json);
}

// `lumivale warmth [N]` and `lumivale brightness [N]`.
void addShortcut(CLI::App& app, const GlobalOptions& options, const std::string& id,
                 const std::string& description) {
  auto* command = app.add_subcommand(id, description);
  auto level = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  command->add_option("N", *level, "The new level, 0-255; without it, print the current one");
  command->add_flag("--json", *json, "Print JSON");
  command->callback([&options, id, level, json] {
    if (level->empty())
      showValue(options, id, *json);
    else
      setAndShow(options, id, *level, *json);
  });
}

}  // namespace

void addSettingCommands(CLI::App& app, GlobalOptions& options) {
  auto* group = app.add_subcommand("setting", "Read and change the tablet's settings");
  group->require_subcommand(1);
  auto id = std::make_shared<std::string>();
  auto value = std::make_shared<std::string>();

  auto json = std::make_shared<bool>(false);
  auto* list = group->add_subcommand("list", "Every setting with its value on the tablet");
  list->add_flag("--json", *json, "Print the readings as JSON");
  list->callback([&options, json] {
    auto session = companion::requireReadyTablet(options.serial, options.command);
    auto readings = DeviceSettings::readAll(*session.bridge, session.serial);
    if (*json)
      std::cout << readingsJson(readings).dump(2) << "\n";
    else
      printReadings(readings);
  });

  auto* get = group->add_subcommand("get", "Print one setting's value");
  get->add_option("ID", *id, "The setting (see: lumivale setting list)")->required();
  get->add_flag("--json", *json, "Print JSON");
  get->callback([&options, id, json] { showValue(options, *id, *json); });

  auto* set = group->add_subcommand("set", "Change one setting and print the value read back");
  set->add_option("ID", *id, "The setting")->required();
  set->add_option("VALUE", *value, "on or off, a number, or one of its choices")->required();
  set->add_flag("--json", *json, "Print JSON");
  set->callback([&options, id, value, json] { setAndShow(options, *id, *value, *json); });

  auto* reset = group->add_subcommand("reset", "Return a setting to the tablet's default");
  reset->add_option("ID", *id, "The setting")->required();
  reset->add_flag("--json", *json, "Print JSON");
  reset->callback([&options, id, json] {
    const auto& setting = changeable(*id);
    auto session = companion::requireReadyTablet(options.serial, options.command);
    setting.reset(*session.bridge, session.serial);
    printValue(setting, setting.read(*session.bridge, session.serial), *json);
  });

  auto* choices = group->add_subcommand("choices", "What a setting may be set to");
  choices->add_option("ID", *id, "The setting")->required();
  choices->callback([&options, id] {
    const auto& setting = changeable(*id);
    if (std::holds_alternative<DeviceSetting::Slider>(setting.kind) ||
        std::holds_alternative<DeviceSetting::Toggle>(setting.kind)) {
      std::cout << takes(setting) << "\n";
      return;
    }
    auto session = companion::requireReadyTablet(options.serial, options.command);
    for (const auto& choice : setting.choices(*session.bridge, session.serial))
      std::cout << (choice.title == choice.value
                        ? choice.value
                        : fmt::format("{}  {}", choice.value, choice.title))
                << "\n";
  });

  addShortcut(app, options, "warmth", "Print or set the warmth (amber backlight, 0-255)");
  addShortcut(app, options, "brightness", "Print or set the brightness (backlight, 0-255)");
}

}  // namespace lumivale::cli
