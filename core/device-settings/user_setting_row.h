#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace lumivale {

// A setting as the account service stores it; the "leave the desk" profiles keep
// the values they will restore in these rows.
struct UserSettingRow {
  std::string id;
  std::string key;
  std::string value;
  std::string clientSessionId;
  std::string createdAt;
  std::string updatedAt;

  bool operator==(const UserSettingRow&) const = default;

  // Keys in the service's order: id, key, value, client_session_id, created_at, updated_at.
  nlohmann::ordered_json toJson() const;
  // Throws SettingError::unexpectedOutput when a key is missing or not text.
  static UserSettingRow fromJson(const nlohmann::json& json);
};

}  // namespace lumivale
