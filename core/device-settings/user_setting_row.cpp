#include "core/device-settings/user_setting_row.h"

#include "core/device-settings/setting_error.h"

namespace lumivale {

nlohmann::ordered_json UserSettingRow::toJson() const {
  nlohmann::ordered_json json;
  json["id"] = id;
  json["key"] = key;
  json["value"] = value;
  json["client_session_id"] = clientSessionId;
  json["created_at"] = createdAt;
  json["updated_at"] = updatedAt;
  return json;
}

UserSettingRow UserSettingRow::fromJson(const nlohmann::json& json) {
  auto text = [&json](const char* key) {
    auto found = json.find(key);
    if (found == json.end() || !found->is_string())
      throw SettingError::unexpectedOutput(std::string("a setting row without the text '") + key +
                                           "'");
    return found->get<std::string>();
  };
  if (!json.is_object())
    throw SettingError::unexpectedOutput("a setting row that is not an object");
  return {text("id"),         text("key"),       text("value"), text("client_session_id"),
          text("created_at"), text("updated_at")};
}

}  // namespace lumivale
