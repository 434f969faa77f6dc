#include "core/upkeep/support_redaction.h"

#include <nlohmann/json.hpp>

#include "core/settings/redaction.h"

namespace lumivale::SupportRedaction {
namespace {

using nlohmann::json;

void maskKeys(json& object, std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    if (object.contains(key)) object[key] = mark;
  }
}

void collect(const json& value, size_t minimumLength, std::vector<std::string>& found) {
  if (value.is_string()) {
    const auto& text = value.get_ref<const std::string&>();
    if (text.size() >= minimumLength) found.push_back(text);
  } else if (value.is_structured()) {
    for (const auto& each : value)
      collect(each, minimumLength, found);
  }
}

}  // namespace

std::string settingsFile(std::string_view text) {
  json settings = json::parse(text, nullptr, false);
  if (!settings.is_object())
    return std::string("config.json is not the settings' JSON, so it was left out\n");
  maskKeys(settings, {"email", "userId", "clientSessionId"});
  if (settings.contains("wifiTablets") && settings["wifiTablets"].is_array()) {
    for (auto& tablet : settings["wifiTablets"]) {
      if (tablet.is_object()) maskKeys(tablet, {"accountUserId", "checkId", "checkToken"});
    }
  }
  return settings.dump(2) + "\n";
}

std::string scrubbed(std::string_view text, const std::vector<std::string>& known) {
  std::string result = redactSecrets(text);
  for (const auto& secret : known) {
    if (secret.empty()) continue;
    for (auto at = result.find(secret); at != std::string::npos;
         at = result.find(secret, at + std::string_view(mark).size()))
      result.replace(at, secret.size(), mark);
  }
  return result;
}

std::vector<std::string> stringsIn(std::string_view text, size_t minimumLength) {
  std::vector<std::string> found;
  json document = json::parse(text, nullptr, false);
  if (!document.is_discarded()) collect(document, minimumLength, found);
  return found;
}

}  // namespace lumivale::SupportRedaction
