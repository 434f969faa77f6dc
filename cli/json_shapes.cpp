#include "cli/json_shapes.h"

namespace lumivale::cli {

nlohmann::json optionalJson(const std::optional<std::string>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

nlohmann::json amountJson(const std::string& path, std::uint64_t bytes) {
  return {{"path", path}, {"bytes", bytes}};
}

nlohmann::json connectionJson(const AdbDevice& connection) {
  // adb writes a model's dashes as underscores; the tablet calls itself "LV-1".
  std::optional<std::string> model = connection.model;
  if (model == "LV_1") model = "LV-1";
  return {{"serial", connection.serial},
          {"state", connection.state},
          {"model", optionalJson(model)},
          {"transport", connection.isWifi() ? "wifi" : "cable"}};
}

nlohmann::json screenJson(const std::optional<ScreenState>& screen) {
  if (!screen) return {{"awake", nullptr}, {"locked", nullptr}};
  return {{"awake", screen->wakefulness ? nlohmann::json(screen->awake()) : nullptr},
          {"locked", screen->locked}};
}

nlohmann::json leftoversJson(const std::vector<LeftoverItem>& items) {
  auto list = nlohmann::json::array();
  for (const auto& item : items) {
    list.push_back({{"kind", rawValue(item.kind)},
                    {"path", item.entry.path},
                    {"belongsTo", optionalJson(item.belongsTo)},
                    {"about", item.about}});
  }
  return list;
}

}  // namespace lumivale::cli
