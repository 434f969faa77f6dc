#include "core/device-settings/device_setting.h"

#include <algorithm>
#include <cctype>

#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/overloaded.h"

namespace lumivale {
namespace {

std::string rangeText(const DeviceSetting::Slider& slider) {
  return std::to_string(slider.min) + "-" + std::to_string(slider.max);
}

std::string valuesText(const std::vector<SettingChoice>& choices) {
  std::string text;
  for (const auto& choice : choices)
    text += (text.empty() ? "" : ", ") + choice.value;
  return text;
}

const SettingChoice* titled(const std::vector<SettingChoice>& choices, const std::string& value) {
  auto found = std::find_if(choices.begin(), choices.end(),
                            [&](const SettingChoice& choice) { return choice.value == value; });
  return found == choices.end() ? nullptr : &*found;
}

const SettingChoice* knownComponent(const DeviceSetting::InstalledComponents& installed,
                                    const std::string& component) {
  auto found = std::find_if(
      installed.known.begin(), installed.known.end(), [&](const SettingChoice& choice) {
        return SettingParse::expand(choice.value) == SettingParse::expand(component);
      });
  return found == installed.known.end() ? nullptr : &*found;
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

std::optional<SettingValue> DeviceSetting::read(AdbRunner& runner,
                                                const std::string& serial) const {
  if (!reader) return std::nullopt;
  auto values = held(SettingShell::run(runner, serial, reader->commands));
  if (values.empty()) return std::nullopt;
  return values.front();
}

std::vector<SettingValue> DeviceSetting::held(
    const std::vector<SettingShell::Answer>& answers) const {
  return reader->held(SettingShell::outputs(answers, reader->commands));
}

std::optional<SettingValue> DeviceSetting::write(const SettingValue& value, AdbRunner& runner,
                                                 const std::string& serial) const {
  if (tier.reason()) throw SettingError::unavailable(id, *tier.reason());
  if (!writer) throw SettingError::readOnly(id);
  validate(value);
  if (std::holds_alternative<InstalledComponents>(kind)) {
    auto installed = choices(runner, serial);
    bool found = std::any_of(installed.begin(), installed.end(), [&](const SettingChoice& choice) {
      return sameValue(SettingValue::choice(choice.value), value);
    });
    if (!found) throw SettingError::notInstalled(id, value.text());
  }
  writer(runner, serial, value);
  return readBack(value, runner, serial);
}

std::optional<SettingValue> DeviceSetting::readBack(const SettingValue& after, AdbRunner& runner,
                                                    const std::string& serial) const {
  if (!reader) return std::nullopt;
  auto values = held(SettingShell::run(runner, serial, reader->commands));
  auto kept = std::find_if(values.begin(), values.end(),
                           [&](const SettingValue& value) { return sameValue(value, after); });
  if (kept != values.end()) return *kept;
  if (values.empty()) return std::nullopt;
  return values.front();
}

void DeviceSetting::reset(AdbRunner& runner, const std::string& serial) const {
  if (tier.reason()) throw SettingError::unavailable(id, *tier.reason());
  if (!resetter) throw SettingError::badValue(id, "has no default to reset to");
  resetter(runner, serial);
}

std::vector<SettingChoice> DeviceSetting::choices(AdbRunner& runner,
                                                  const std::string& serial) const {
  if (const auto* choice = std::get_if<Choice>(&kind)) return choice->choices;
  if (const auto* installed = std::get_if<InstalledComponents>(&kind)) {
    auto found = installed->query(runner, serial);
    for (auto& each : found) {
      if (const auto* known = knownComponent(*installed, each.value)) each.title = known->title;
    }
    return found;
  }
  return {};
}

namespace {

// A choice typed as it is shown: its title ("5 min", any case), or the title's number
// alone ("5") when that names one choice.
const SettingChoice* typedAsShown(const std::vector<SettingChoice>& choices,
                                  const std::string& text) {
  const SettingChoice* byNumber = nullptr;
  int numbered = 0;
  for (const auto& choice : choices) {
    if (lowered(choice.title) == lowered(text)) return &choice;
    if (SettingParse::wholeNumber(text) && choice.title.starts_with(text + " ")) {
      byNumber = &choice;
      ++numbered;
    }
  }
  return numbered == 1 ? byNumber : nullptr;
}

}  // namespace

SettingValue DeviceSetting::parse(const std::string& text) const {
  if (tier.reason()) throw SettingError::unavailable(id, *tier.reason());
  if (std::holds_alternative<Toggle>(kind)) {
    auto word = lowered(text);
    if (word == "on" || word == "1" || word == "true") return SettingValue::on(true);
    if (word == "off" || word == "0" || word == "false") return SettingValue::on(false);
    throw SettingError::badValue(id, "expected on or off, got '" + text + "'");
  }
  if (const auto* slider = std::get_if<Slider>(&kind)) {
    auto number = SettingParse::wholeNumber(text);
    if (!number) throw SettingError::badValue(id, "expected a whole number " + rangeText(*slider));
    if (*number < slider->min || *number > slider->max)
      throw SettingError::badValue(id, text + " is outside " + rangeText(*slider));
    return SettingValue::level(static_cast<int>(*number));
  }
  if (const auto* list = std::get_if<Choice>(&kind)) {
    if (const auto* entry = typedAsShown(list->choices, text))
      return SettingValue::choice(entry->value);
  }
  auto value = SettingValue::choice(text);
  validate(value);
  return value;
}

void DeviceSetting::validate(const SettingValue& value) const {
  auto wrongKind = [&] {
    return SettingError::badValue(id, id + " does not take '" + value.text() + "'");
  };
  std::visit(Overloaded{
                 [&](std::monostate) { throw wrongKind(); },
                 [&](const Toggle&) {
                   if (!value.asOn()) throw wrongKind();
                 },
                 [&](const Slider& slider) {
                   auto level = value.asLevel();
                   if (!level) throw wrongKind();
                   if (*level < slider.min || *level > slider.max)
                     throw SettingError::badValue(id, "expected a level " + rangeText(slider));
                 },
                 [&](const Choice& choice) {
                   auto chosen = value.asChoice();
                   if (!chosen) throw wrongKind();
                   if (!titled(choice.choices, *chosen))
                     throw SettingError::badValue(id,
                                                  "expected one of " + valuesText(choice.choices));
                 },
                 [&](const InstalledComponents&) {
                   auto chosen = value.asChoice();
                   if (!chosen) throw wrongKind();
                   if (!SettingParse::isComponent(*chosen))
                     throw SettingError::badValue(
                         id, "expected a package/class component, got '" + *chosen + "'");
                 },
             },
             kind);
}

bool DeviceSetting::sameValue(const SettingValue& first, const SettingValue& second) const {
  auto firstChoice = first.asChoice();
  auto secondChoice = second.asChoice();
  if (std::holds_alternative<InstalledComponents>(kind) && firstChoice && secondChoice)
    return SettingParse::expand(*firstChoice) == SettingParse::expand(*secondChoice);
  return first == second;
}

std::string DeviceSetting::display(const std::optional<SettingValue>& value) const {
  if (!value) return "Unset on this tablet.";
  auto chosen = value->asChoice();
  if (const auto* choice = std::get_if<Choice>(&kind); choice && chosen) {
    if (const auto* entry = titled(choice->choices, *chosen)) return entry->title;
  }
  if (const auto* installed = std::get_if<InstalledComponents>(&kind); installed && chosen) {
    if (const auto* entry = knownComponent(*installed, *chosen)) return entry->title;
  }
  return value->text();
}

}  // namespace lumivale
