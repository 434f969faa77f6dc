#include "core/device-settings/setting_parse.h"

#include "core/checked_number.h"

namespace lumivale::SettingParse {
namespace {

std::string_view trimmed(std::string_view text) {
  const char* blanks = " \t\r\n";
  auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> result;
  while (!text.empty()) {
    auto end = text.find('\n');
    result.push_back(trimmed(text.substr(0, end)));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return result;
}

bool isJavaName(std::string_view text, bool allowDollar) {
  if (text.empty()) return false;
  bool startOfPart = true;
  for (char c : text) {
    bool letter =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (allowDollar && c == '$');
    bool digit = c >= '0' && c <= '9';
    if (c == '.') {
      if (startOfPart) return false;
      startOfPart = true;
    } else if (letter || (digit && !startOfPart)) {
      startOfPart = false;
    } else {
      return false;
    }
  }
  return !startOfPart;
}

}  // namespace

std::optional<std::string> settingsAnswer(std::string_view output) {
  auto answer = trimmed(output);
  if (answer == "null") return std::nullopt;
  return std::string(answer);
}

std::optional<bool> bool01(std::string_view text) {
  if (text == "1") return true;
  if (text == "0") return false;
  return std::nullopt;
}

std::optional<long long> wholeNumber(std::string_view text) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  return CheckedNumber::parse<long long>(text);
}

std::vector<std::string> componentList(std::string_view text, char separator) {
  std::vector<std::string> result;
  while (true) {
    auto end = text.find(separator);
    auto entry = trimmed(text.substr(0, end));
    if (!entry.empty()) result.emplace_back(entry);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return result;
}

std::vector<std::string> components(std::string_view output) {
  std::vector<std::string> result;
  for (auto line : lines(output)) {
    if (isComponent(line)) result.emplace_back(line);
  }
  return result;
}

bool isComponent(std::string_view text) {
  auto slash = text.find('/');
  if (slash == std::string_view::npos) return false;
  auto package = text.substr(0, slash);
  auto className = text.substr(slash + 1);
  if (!className.empty() && className.front() == '.') className.remove_prefix(1);
  return isJavaName(package, false) && isJavaName(className, true);
}

std::string expand(std::string_view component) {
  auto slash = component.find('/');
  if (slash == std::string_view::npos || slash + 1 >= component.size() ||
      component[slash + 1] != '.')
    return std::string(component);
  auto package = component.substr(0, slash);
  return std::string(package) + "/" + std::string(package) +
         std::string(component.substr(slash + 1));
}

std::optional<DensityInfo> density(std::string_view output) {
  std::optional<int> physical;
  std::optional<int> override;
  bool fits = true;
  auto read = [&](std::string_view line, std::string_view label, std::optional<int>& into) {
    if (line.substr(0, label.size()) != label) return;
    auto number = wholeNumber(trimmed(line.substr(label.size())));
    if (!number) return;
    into = CheckedNumber::narrowed<int>(*number);
    fits = fits && into;
  };
  for (auto line : lines(output)) {
    read(line, "Physical density:", physical);
    read(line, "Override density:", override);
  }
  // A density no int holds is not one we can show or set back.
  if (!physical || !fits) return std::nullopt;
  return DensityInfo{*physical, override};
}

ScreensaverState screensaver(std::string_view enabledAnswer, std::string_view componentsAnswer) {
  ScreensaverState state;
  if (auto enabled = settingsAnswer(enabledAnswer)) state.enabled = bool01(*enabled);
  if (auto list = settingsAnswer(componentsAnswer)) state.components = componentList(*list, ',');
  return state;
}

}  // namespace lumivale::SettingParse
