#include "core/device-settings/setting_value.h"

namespace lumivale {

std::string SettingTier::label() const {
  switch (kind_) {
    case Kind::device:
      return "device";
    case Kind::adb:
      return "adb";
    case Kind::unavailable:
      break;
  }
  return "unavailable";
}

std::string SettingTier::groupTitle() const {
  switch (kind_) {
    case Kind::device:
      return "Available now";
    case Kind::adb:
      return "Advanced";
    case Kind::unavailable:
      break;
  }
  return "Not yet available";
}

std::optional<bool> SettingValue::asOn() const {
  if (const bool* isOn = std::get_if<bool>(&data_)) return *isOn;
  return std::nullopt;
}

std::optional<int> SettingValue::asLevel() const {
  if (const int* level = std::get_if<int>(&data_)) return *level;
  return std::nullopt;
}

std::optional<std::string> SettingValue::asChoice() const {
  if (const std::string* value = std::get_if<std::string>(&data_)) return *value;
  return std::nullopt;
}

std::string SettingValue::text() const {
  if (const bool* isOn = std::get_if<bool>(&data_)) return *isOn ? "on" : "off";
  if (const int* level = std::get_if<int>(&data_)) return std::to_string(*level);
  return std::get<std::string>(data_);
}

}  // namespace lumivale
