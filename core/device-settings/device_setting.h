#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/device-settings/setting_shell.h"
#include "core/device-settings/setting_value.h"
#include "core/tablet/adb_runner.h"

namespace lumivale {

// How a setting is read: the commands, run in one round trip, and what their outputs
// hold. Kept as data rather than a closure so that a whole list can be read at once.
struct SettingReader {
  std::vector<std::string> commands;
  // Every value the setting holds, the one shown first: a list setting such as the
  // allowed notification listeners holds several. Empty when unset on the tablet.
  std::function<std::vector<SettingValue>(const std::vector<std::string>& outputs)> held;
};

using SettingWriter =
    std::function<void(AdbRunner& runner, const std::string& serial, const SettingValue& value)>;
using SettingResetter = std::function<void(AdbRunner& runner, const std::string& serial)>;
using ComponentQuery =
    std::function<std::vector<SettingChoice>(AdbRunner& runner, const std::string& serial)>;

// One setting of the tablet that a Mac may read and perhaps change.
struct DeviceSetting {
  struct Slider {
    int min = 0;
    int max = 0;
  };
  struct Choice {
    std::vector<SettingChoice> choices;
  };
  // Components the tablet reports as installed; `known` gives titles to familiar ones.
  struct InstalledComponents {
    std::vector<SettingChoice> known;
    ComponentQuery query;
  };
  struct Toggle {};
  // std::monostate: a setting that cannot be changed from a Mac has no control.
  using Kind = std::variant<std::monostate, Slider, Choice, InstalledComponents, Toggle>;

  std::string id;
  std::string title;
  std::string detail;
  SettingTier tier = SettingTier::device();
  Kind kind;
  std::optional<SettingReader> reader;
  SettingWriter writer;
  SettingResetter resetter;
  std::vector<std::string> members;  // other settings a change to this one also touches

  bool isWritable() const { return static_cast<bool>(writer); }
  bool canReset() const { return static_cast<bool>(resetter); }

  // The value on the tablet; absent when unset there or when the setting has no reader.
  std::optional<SettingValue> read(AdbRunner& runner, const std::string& serial) const;
  // What the reader's outputs hold (the commands ran elsewhere, perhaps with others).
  std::vector<SettingValue> held(const std::vector<SettingShell::Answer>& answers) const;

  // Validates, writes, and returns the value read back, which may not be the one asked for.
  std::optional<SettingValue> write(const SettingValue& value, AdbRunner& runner,
                                    const std::string& serial) const;
  // The value the tablet now has: `after` itself when the tablet holds it among others.
  std::optional<SettingValue> readBack(const SettingValue& after, AdbRunner& runner,
                                       const std::string& serial) const;
  void reset(AdbRunner& runner, const std::string& serial) const;

  // The fixed choices, or those installed on the tablet; empty for sliders and toggles.
  std::vector<SettingChoice> choices(AdbRunner& runner, const std::string& serial) const;

  // Command-line text as a value of this setting; fails with badValue.
  SettingValue parse(const std::string& text) const;
  // The checks of `parse`, applied to a value; fails with badValue.
  void validate(const SettingValue& value) const;
  // Whether two values are the same setting: components compare in their long form.
  bool sameValue(const SettingValue& first, const SettingValue& second) const;
  // The text shown for a value: a choice's title, or "Unset on this tablet.".
  std::string display(const std::optional<SettingValue>& value) const;
};

}  // namespace lumivale
