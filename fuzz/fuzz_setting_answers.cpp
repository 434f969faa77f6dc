// The tablet's answers about its settings, and the setting rows the account service keeps.
#include <nlohmann/json.hpp>

#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/device-settings/user_setting_row.h"
#include "fuzz/fuzz_input.h"

using namespace lumivale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto input = FuzzInput::text(data, size);
  SettingParse::settingsAnswer(input);
  SettingParse::bool01(input);
  SettingParse::wholeNumber(input);
  SettingParse::componentList(input, ':');
  for (const auto& component : SettingParse::components(input))
    SettingParse::expand(component);
  SettingParse::expand(input);
  SettingParse::density(input);
  auto [enabled, components] = FuzzInput::halves(input);
  SettingParse::screensaver(enabled, components);
  auto row = nlohmann::json::parse(input, nullptr, false);
  try {
    UserSettingRow::fromJson(row);
  } catch (const SettingError&) {
  }
  return 0;
}
