#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/adb_device.h"

namespace lumivale::AdbParse {

struct ParsedDevice {
  AdbDevice device;
  std::string raw;  // the line as read, for the LV-1 pieces
  bool operator==(const ParsedDevice&) const = default;
};

// The lines of `adb devices -l`, skipping the header and the server's notices.
std::vector<ParsedDevice> devices(std::string_view output);

// Not a key-and-value piece of a device line ("model:...", "usb:...").
bool isDeviceSerial(std::string_view text);
// host:port, or an mDNS name of a Wi-Fi debugging service.
bool isTcpSerial(std::string_view text);
// A raw device line carrying any of the LV-1's product, model or device pieces.
bool isLumivaleLine(std::string_view raw);
// The "transport_id:" piece of a raw device line: adb numbers each connection anew.
std::optional<std::string> transportId(std::string_view raw);

struct Battery {
  std::optional<int> percent;
  std::optional<bool> charging;
  bool operator==(const Battery&) const = default;
};
Battery battery(std::string_view dumpsysBattery);

struct DiskSpace {
  std::int64_t totalBytes = 0;
  std::int64_t freeBytes = 0;
  bool operator==(const DiskSpace&) const = default;
};
// The line of `df` (1K blocks) mounted on `mountPoint`.
std::optional<DiskSpace> df(std::string_view output, std::string_view mountPoint = "/data");

// The "src" address of the route through a wlan interface.
std::optional<std::string> ipAddress(std::string_view routes);

// "alpha", "beta" or "internal" when the label says so, else "unknown".
std::string channel(std::string_view versionLabel);

// The network name from `cmd wifi status`, or from `dumpsys wifi` when that fails.
std::optional<std::string> wifiSsidFromStatus(std::string_view cmdWifiStatus);
std::optional<std::string> wifiSsidFromDumpsys(std::string_view dumpsysWifi);

// "Awake", "Asleep", "Dozing", ... from `dumpsys power`.
std::optional<std::string> wakefulness(std::string_view dumpsysPower);
// From `dumpsys window policy`; none when it says nothing about the keyguard.
std::optional<bool> keyguardShowing(std::string_view dumpsysWindowPolicy);

// The screen as input sees it, from `wm size` and `dumpsys window displays`.
std::optional<ScreenFrame> screenFrame(std::string_view wmSize, std::string_view displays);

// `adb mdns services`.
std::vector<MdnsService> mdnsServices(std::string_view output);

// "package/activity" of the window in focus, from `dumpsys window`.
std::optional<std::string> focusedActivity(std::string_view dumpsysWindow);

// Splits the output of several commands run in one shell, each preceded by a
// line "@@NAME", into the text of each section.
std::optional<std::string> section(std::string_view output, std::string_view name);

std::vector<std::string_view> lines(std::string_view text);

}  // namespace lumivale::AdbParse
