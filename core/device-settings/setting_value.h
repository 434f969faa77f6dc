#pragma once

#include <optional>
#include <string>
#include <variant>

namespace lumivale {

// Which group a setting is shown in: changeable now, changeable over the developer
// connection, or not changeable from a Mac (with the reason shown instead).
class SettingTier {
 public:
  enum class Kind { device, adb, unavailable };

  static SettingTier device() { return SettingTier(Kind::device, {}); }
  static SettingTier adb() { return SettingTier(Kind::adb, {}); }
  static SettingTier unavailable(std::string reason) {
    return SettingTier(Kind::unavailable, std::move(reason));
  }

  Kind kind() const { return kind_; }
  std::string label() const;
  // The heading of the tier's group, as the pane and the setting list show it.
  std::string groupTitle() const;
  const std::optional<std::string>& reason() const { return reason_; }

  bool operator==(const SettingTier&) const = default;

 private:
  SettingTier(Kind kind, std::optional<std::string> reason)
      : kind_(kind), reason_(std::move(reason)) {}

  Kind kind_;
  std::optional<std::string> reason_;
};

// A value a setting holds: a switch, a level, or one of a list of choices.
class SettingValue {
 public:
  static SettingValue on(bool isOn) { return SettingValue(Data(isOn)); }
  static SettingValue level(int level) { return SettingValue(Data(level)); }
  static SettingValue choice(std::string value) { return SettingValue(Data(std::move(value))); }

  std::optional<bool> asOn() const;
  std::optional<int> asLevel() const;
  std::optional<std::string> asChoice() const;

  // The value as shown and as typed on the command line: "on", "off", "120", or the choice.
  std::string text() const;

  bool operator==(const SettingValue&) const = default;

 private:
  using Data = std::variant<bool, int, std::string>;
  explicit SettingValue(Data data) : data_(std::move(data)) {}

  Data data_;
};

// One entry of a choice list: what is sent to the tablet and what is shown.
struct SettingChoice {
  std::string value;
  std::string title;

  bool operator==(const SettingChoice&) const = default;
};

}  // namespace lumivale
