#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace lumivale {

// One line of `adb devices -l`: one connection to one device.
struct AdbDevice {
  std::string serial;
  std::string state;  // as adb prints it: "device", "unauthorized", "offline", ...
  std::optional<std::string> model;
  std::optional<std::string> transport;  // "usb" or "tcp"

  bool isWifi() const { return transport == "tcp"; }
  bool operator==(const AdbDevice&) const = default;
};

// One physical tablet; plugged in and on Wi-Fi at once it has two connections.
struct AdbTablet {
  std::string serial;
  std::vector<AdbDevice> connections;

  // The connection to use: the cable while it is there, unless Wi-Fi is preferred and a
  // Wi-Fi connection is ready.
  const AdbDevice& preferredConnection(bool wirelessPreferred = false) const;
  bool hasSerial(const std::string& serial) const;
  bool operator==(const AdbTablet&) const = default;
};

// The tablet's facts, as `lumivale info --json` prints them.
struct DeviceInfo {
  std::string serial;
  std::string model;
  std::string buildFingerprint;
  std::string versionLabel;
  std::string channel;
  std::string androidRelease;
  std::optional<int> batteryPercent;
  std::optional<bool> charging;
  std::optional<std::int64_t> dataFreeBytes;
  std::optional<std::int64_t> dataTotalBytes;
  std::optional<std::string> wifiSsid;
  std::optional<std::string> ipAddress;

  bool operator==(const DeviceInfo&) const = default;
};

void to_json(nlohmann::json& json, const DeviceInfo& info);

struct ScreenFrame {
  int width = 0;
  int height = 0;
  int rotation = 0;  // quarter turns, 0 to 3
  bool operator==(const ScreenFrame&) const = default;
};

struct MdnsService {
  std::string instance;
  std::string type;
  std::string host;
  int port = 0;
  bool operator==(const MdnsService&) const = default;
};

// The secret left on a tablet over the cable and read back before a Wi-Fi
// connection to it is trusted.
struct TabletCheck {
  std::string id;
  std::string token;
  bool operator==(const TabletCheck&) const = default;
};

}  // namespace lumivale
