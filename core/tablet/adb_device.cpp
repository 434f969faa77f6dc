#include "core/tablet/adb_device.h"

#include <algorithm>

namespace lumivale {

const AdbDevice& AdbTablet::preferredConnection(bool wirelessPreferred) const {
  if (wirelessPreferred) {
    auto wifi = std::find_if(connections.begin(), connections.end(), [](const AdbDevice& device) {
      return device.isWifi() && device.state == "device";
    });
    if (wifi != connections.end()) return *wifi;
  }
  auto cable = std::find_if(connections.begin(), connections.end(),
                            [](const AdbDevice& device) { return !device.isWifi(); });
  return cable != connections.end() ? *cable : connections.front();
}

bool AdbTablet::hasSerial(const std::string& wanted) const {
  return serial == wanted ||
         std::any_of(connections.begin(), connections.end(),
                     [&](const AdbDevice& device) { return device.serial == wanted; });
}

namespace {
template <typename T>
nlohmann::json optionalJson(const std::optional<T>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}
}  // namespace

void to_json(nlohmann::json& json, const DeviceInfo& info) {
  json = {{"serial", info.serial},
          {"model", info.model},
          {"buildFingerprint", info.buildFingerprint},
          {"versionLabel", info.versionLabel},
          {"channel", info.channel},
          {"androidRelease", info.androidRelease},
          {"batteryPercent", optionalJson(info.batteryPercent)},
          {"charging", optionalJson(info.charging)},
          {"dataFreeBytes", optionalJson(info.dataFreeBytes)},
          {"dataTotalBytes", optionalJson(info.dataTotalBytes)},
          {"wifiSsid", optionalJson(info.wifiSsid)},
          {"ipAddress", optionalJson(info.ipAddress)}};
}

}  // namespace lumivale
