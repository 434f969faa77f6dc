#pragma once

#include <string>

#include <fmt/format.h>

#include "core/error.h"

namespace lumivale {

// The failure of every settings operation; message() is shown as it stands.
class SettingError : public Error {
 public:
  enum class Case { unknown, unavailable, readOnly, badValue, notInstalled, unexpectedOutput };

  static SettingError unknown(const std::string& id);
  static SettingError unavailable(const std::string& id, const std::string& reason);
  static SettingError readOnly(const std::string& id);
  static SettingError badValue(const std::string& id, const std::string& message);
  static SettingError notInstalled(const std::string& id, const std::string& component);
  static SettingError unexpectedOutput(const std::string& text);

  Case which() const { return case_; }

 private:
  SettingError(Case which, std::string message) : Error(std::move(message)), case_(which) {}

  Case case_;
};

}  // namespace lumivale

// The log takes a SettingError as it is.
template <>
struct fmt::formatter<lumivale::SettingError> : fmt::formatter<std::string_view> {
  auto format(const lumivale::SettingError& error, fmt::format_context& context) const {
    return fmt::formatter<std::string_view>::format(error.message(), context);
  }
};
