#pragma once

#include <exception>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/settings/lumivale_config.h"

namespace lumivale {

// A settings text that is JSON but does not have the settings' shape.
class ConfigDecodeError : public std::exception {
 public:
  enum class Kind { wrongType, missingKey };

  // `where` is the dotted path to the bad value for wrongType, the key alone for missingKey.
  ConfigDecodeError(Kind kind, std::string where) : kind_(kind), where_(std::move(where)) {}

  Kind kind() const { return kind_; }
  const std::string& where() const { return where_; }
  const char* what() const noexcept override { return where_.c_str(); }

 private:
  Kind kind_;
  std::string where_;
};

// The settings file's format: one key per field, optional fields left out when not set.
namespace ConfigJson {

nlohmann::json encode(const LumivaleConfig& config);
// Pretty-printed with sorted keys, as the file holds it.
std::string encodeText(const LumivaleConfig& config);

// Throws nlohmann::json::parse_error for text that is not JSON, ConfigDecodeError
// for JSON of the wrong shape. Absent keys with a default take it.
LumivaleConfig decode(std::string_view text);

}  // namespace ConfigJson
}  // namespace lumivale
