#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumivale {

// What `wm density` reports: the panel's own density and the override, if any.
struct DensityInfo {
  int physical = 0;
  std::optional<int> override;

  int effective() const { return override.value_or(physical); }
  bool operator==(const DensityInfo&) const = default;
};

// The screensaver as the secure settings hold it.
struct ScreensaverState {
  std::optional<bool> enabled;  // absent when screensaver_enabled is unset
  std::vector<std::string> components;

  bool operator==(const ScreensaverState&) const = default;
};

// Pure parsers of what the tablet's tools print.
namespace SettingParse {

// The answer of `settings get`, trimmed; "null" (an unset key) is absent.
std::optional<std::string> settingsAnswer(std::string_view output);

// "0" or "1"; anything else is absent.
std::optional<bool> bool01(std::string_view text);

// A decimal integer with an optional sign and nothing else.
std::optional<long long> wholeNumber(std::string_view text);

// A separated list of components (enabled_notification_listeners uses ":",
// screensaver_components ","), empty entries left out.
std::vector<std::string> componentList(std::string_view text, char separator);

// The component lines of `cmd package query-activities|query-services|resolve-activity
// --brief`, in the order printed.
std::vector<std::string> components(std::string_view output);

// "package/class", where the class may be short (".Main", relative to the package).
bool isComponent(std::string_view text);

// The long form of a component: a short class gets the package in front.
std::string expand(std::string_view component);

// The "Physical density:" and "Override density:" lines; absent without a physical line.
std::optional<DensityInfo> density(std::string_view output);

// From the answers of `settings get secure screensaver_enabled` and `... screensaver_components`.
ScreensaverState screensaver(std::string_view enabledAnswer, std::string_view componentsAnswer);

}  // namespace SettingParse
}  // namespace lumivale
