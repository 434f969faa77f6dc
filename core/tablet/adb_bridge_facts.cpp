#include <fmt/format.h>

#include "core/checked_number.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_hand_off.h"

// The tablet's facts and its light settings.
namespace lumivale {
namespace {

constexpr Seconds kFactsTimeout{20};
constexpr Seconds kSettingTimeout{10};
// The amber-rate setting carries the shade in this bit; warmth never touches it.
constexpr int kShadeBit = 256;

std::string trimmedLine(const std::optional<std::string>& text) {
  if (!text) return "";
  auto lines = AdbParse::lines(*text);
  return lines.empty() ? "" : std::string(lines.front());
}

int levelOf(const std::optional<std::string>& value, const std::string& key) {
  if (auto level = value ? CheckedNumber::parse<int>(*value) : std::nullopt) return *level;
  throw AdbError(fmt::format("the tablet gave no level for {}", key));
}

void requireLevel(int level) {
  if (level < 0 || level > 255) throw AdbError("expected a level 0-255");
}

}  // namespace

DeviceInfo AdbBridge::deviceInfo(const std::string& serial, const StopToken* stop) {
  // One shell for every fact: each adb run costs more than the commands themselves.
  const std::string line =
      "echo @@model; getprop ro.product.model; echo @@fingerprint; getprop ro.build.fingerprint; "
      "echo @@label; getprop ro.build.display.id; echo @@release; getprop "
      "ro.build.version.release; echo @@battery; dumpsys battery; echo @@df; df /data; "
      "echo @@wifi; w=$(cmd wifi status); echo \"$w\"; echo @@wifidump; "
      // The long dump only when the short status names no network.
      "case $w in *'Wifi is connected to '*) ;; *) dumpsys wifi ;; esac; "
      "echo @@route; ip route; true";
  std::string output = shell(serial, line, kFactsTimeout, stop);
  auto part = [&](const char* name) { return AdbParse::section(output, name).value_or(""); };

  DeviceInfo info;
  info.serial = serial;
  info.model = trimmedLine(part("model"));
  info.buildFingerprint = trimmedLine(part("fingerprint"));
  info.versionLabel = trimmedLine(part("label"));
  info.channel = AdbParse::channel(info.versionLabel);
  info.androidRelease = trimmedLine(part("release"));
  auto battery = AdbParse::battery(part("battery"));
  info.batteryPercent = battery.percent;
  info.charging = battery.charging;
  if (auto space = AdbParse::df(part("df"))) {
    info.dataTotalBytes = space->totalBytes;
    info.dataFreeBytes = space->freeBytes;
  }
  info.wifiSsid = AdbParse::wifiSsidFromStatus(part("wifi"));
  if (!info.wifiSsid) info.wifiSsid = AdbParse::wifiSsidFromDumpsys(part("wifidump"));
  info.ipAddress = AdbParse::ipAddress(part("route"));
  return info;
}

std::optional<std::string> AdbBridge::getSetting(const std::string& serial,
                                                 const std::string& nameSpace,
                                                 const std::string& key, const StopToken* stop) {
  std::string value = trimmedLine(
      shell(serial, TabletShell::line({"settings", "get", nameSpace, key}), kSettingTimeout, stop));
  if (value.empty() || value == "null") return std::nullopt;
  return value;
}

void AdbBridge::putSetting(const std::string& serial, const std::string& nameSpace,
                           const std::string& key, int value, const StopToken* stop) {
  shell(serial, TabletShell::line({"settings", "put", nameSpace, key, std::to_string(value)}),
        kSettingTimeout, stop);
}

AdbBridge::WarmthAndShade AdbBridge::getWarmthAndShade(const std::string& serial,
                                                       const StopToken* stop) {
  int rate = levelOf(getSetting(serial, "system", "screen_brightness_amber_rate", stop), "warmth");
  return {rate & 0xff, (rate & kShadeBit) != 0};
}

int AdbBridge::getWarmth(const std::string& serial, const StopToken* stop) {
  return getWarmthAndShade(serial, stop).warmth;
}

void AdbBridge::setWarmth(const std::string& serial, int warmth, const StopToken* stop) {
  requireLevel(warmth);
  bool shade = getWarmthAndShade(serial, stop).shade;
  putSetting(serial, "system", "screen_brightness_amber_rate", warmth | (shade ? kShadeBit : 0),
             stop);
}

int AdbBridge::getBrightness(const std::string& serial, const StopToken* stop) {
  return levelOf(getSetting(serial, "system", "screen_brightness", stop), "brightness");
}

void AdbBridge::setBrightness(const std::string& serial, int brightness, const StopToken* stop) {
  requireLevel(brightness);
  putSetting(serial, "system", "screen_brightness", brightness, stop);
}

}  // namespace lumivale
