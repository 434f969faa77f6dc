#include "core/device-settings/setting_error.h"

namespace lumivale {

SettingError SettingError::unknown(const std::string& id) {
  return {Case::unknown, "no setting named '" + id + "' (see: lumivale setting list)"};
}

SettingError SettingError::unavailable(const std::string& id, const std::string& reason) {
  return {Case::unavailable, "'" + id + "' cannot be changed from a Mac: " + reason};
}

SettingError SettingError::readOnly(const std::string& id) {
  return {Case::readOnly, "'" + id + "' is read-only"};
}

SettingError SettingError::badValue(const std::string& id, const std::string& message) {
  return {Case::badValue, "'" + id + "': " + message};
}

SettingError SettingError::notInstalled(const std::string& id, const std::string& component) {
  return {Case::notInstalled, "'" + id + "': " + component + " is not installed on the tablet"};
}

SettingError SettingError::unexpectedOutput(const std::string& text) {
  return {Case::unexpectedOutput, "unexpected adb output: " + text};
}

}  // namespace lumivale
