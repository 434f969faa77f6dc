#include "core/tablet/adb_parse.h"

#include <algorithm>
#include <cctype>

#include "core/checked_number.h"

namespace lumivale::AdbParse {
namespace {

constexpr std::string_view kMdnsMarker = "._adb-tls-connect._tcp";

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

std::string_view trimmed(std::string_view text) {
  auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> pieces(std::string_view text) {
  std::vector<std::string_view> result;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find_first_of(" \t", start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) result.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return result;
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
  return CheckedNumber::parse<Number>(text);
}

// The text after `key` up to the first character that cannot belong to a value.
std::optional<std::string_view> valueAfter(std::string_view text, std::string_view key) {
  size_t at = text.find(key);
  if (at == std::string_view::npos) return std::nullopt;
  std::string_view rest = text.substr(at + key.size());
  size_t end = 0;
  while (end < rest.size() &&
         (std::isalnum(static_cast<unsigned char>(rest[end])) || rest[end] == '_'))
    ++end;
  if (end == 0) return std::nullopt;
  return rest.substr(0, end);
}

std::optional<std::string> quotedAfter(std::string_view text, std::string_view key) {
  size_t at = text.find(key);
  if (at == std::string_view::npos) return std::nullopt;
  size_t start = at + key.size();
  size_t end = text.find('"', start);
  if (end == std::string_view::npos) return std::nullopt;
  std::string name(text.substr(start, end - start));
  if (name.empty() || name == "<unknown ssid>") return std::nullopt;
  return name;
}

// "1600x2560" -> {1600, 2560}
std::optional<std::pair<int, int>> dimensions(std::string_view text) {
  size_t cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  auto width = number<int>(text.substr(0, cross));
  auto height = number<int>(text.substr(cross + 1));
  if (!width || !height) return std::nullopt;
  return std::pair{*width, *height};
}

std::optional<std::pair<int, int>> sizeAfter(std::string_view text, std::string_view key) {
  for (auto line : lines(text)) {
    line = trimmed(line);
    if (startsWith(line, key)) return dimensions(trimmed(line.substr(key.size())));
  }
  return std::nullopt;
}

}  // namespace

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> result;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    result.push_back(line);
    start = end + 1;
  }
  return result;
}

bool isDeviceSerial(std::string_view text) {
  return !text.empty() && !startsWith(text, "product:") && !startsWith(text, "model:") &&
         !startsWith(text, "device:") && !startsWith(text, "usb:");
}

bool isTcpSerial(std::string_view text) {
  if (text.find(kMdnsMarker) != std::string_view::npos) return true;
  size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  auto port = number<int>(text.substr(colon + 1));
  return port && *port > 0 && *port <= 65535;
}

bool isLumivaleLine(std::string_view raw) {
  for (std::string_view piece : {"model:LV_1", "product:vext_tolva", "device:tolva"}) {
    for (auto word : pieces(raw))
      if (word == piece) return true;
  }
  return false;
}

std::optional<std::string> transportId(std::string_view raw) {
  static constexpr std::string_view prefix = "transport_id:";
  for (auto word : pieces(raw))
    if (startsWith(word, prefix) && word.size() > prefix.size())
      return std::string(word.substr(prefix.size()));
  return std::nullopt;
}

std::vector<ParsedDevice> devices(std::string_view output) {
  std::vector<ParsedDevice> result;
  for (auto raw : lines(output)) {
    std::string_view line = trimmed(raw);
    if (line.empty() || startsWith(line, "List of devices") || startsWith(line, "*") ||
        startsWith(line, "adb server version"))
      continue;
    // An mDNS serial may hold a blank ("name (2)._adb-tls-connect._tcp").
    std::string_view serial;
    std::string_view rest;
    if (size_t marker = line.find(kMdnsMarker); marker != std::string_view::npos) {
      serial = line.substr(0, marker + kMdnsMarker.size());
      rest = line.substr(serial.size());
    } else {
      auto words = pieces(line);
      serial = words.front();
      rest = line.substr(serial.size());
    }
    auto fields = pieces(rest);
    // A line with a serial but no state, or with no state adb could print, is not a device.
    if (!isDeviceSerial(serial) || fields.empty() ||
        !std::all_of(fields[0].begin(), fields[0].end(), [](char c) { return std::islower(c); }))
      continue;
    AdbDevice device{std::string(serial), std::string(fields[0]), std::nullopt, std::nullopt};
    for (size_t i = 1; i < fields.size(); ++i) {
      if (startsWith(fields[i], "model:")) device.model = std::string(fields[i].substr(6));
      if (startsWith(fields[i], "usb:")) device.transport = "usb";
    }
    if (isTcpSerial(device.serial)) device.transport = "tcp";
    result.push_back({std::move(device), std::string(raw)});
  }
  return result;
}

Battery battery(std::string_view dumpsysBattery) {
  Battery result;
  for (auto line : lines(dumpsysBattery)) {
    line = trimmed(line);
    if (startsWith(line, "level:")) result.percent = number<int>(trimmed(line.substr(6)));
    size_t powered = line.find("powered:");
    if (powered != std::string_view::npos) {
      bool on = trimmed(line.substr(powered + 8)) == "true";
      result.charging = result.charging.value_or(false) || on;
    }
  }
  return result;
}

std::optional<DiskSpace> df(std::string_view output, std::string_view mountPoint) {
  for (auto line : lines(output)) {
    auto words = pieces(line);
    if (words.size() < 6 || words.back() != mountPoint) continue;
    // df counts 1 KiB blocks.
    auto bytes = [](std::string_view blocks) -> std::optional<std::int64_t> {
      auto count = number<std::int64_t>(blocks);
      return count ? CheckedNumber::product<std::int64_t>(*count, 1024) : std::nullopt;
    };
    auto total = bytes(words[1]);
    auto available = bytes(words[3]);
    if (total && available) return DiskSpace{*total, *available};
  }
  return std::nullopt;
}

std::optional<std::string> ipAddress(std::string_view routes) {
  for (auto line : lines(routes)) {
    if (line.find(" dev wlan") == std::string_view::npos) continue;
    auto words = pieces(line);
    auto src = std::find(words.begin(), words.end(), "src");
    if (src != words.end() && src + 1 != words.end()) return std::string(*(src + 1));
  }
  return std::nullopt;
}

std::string channel(std::string_view versionLabel) {
  std::string lower(versionLabel);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  for (const char* word : {"alpha", "beta", "internal"})
    if (lower.find(word) != std::string::npos) return word;
  return "unknown";
}

std::optional<std::string> wifiSsidFromStatus(std::string_view cmdWifiStatus) {
  return quotedAfter(cmdWifiStatus, "Wifi is connected to \"");
}

std::optional<std::string> wifiSsidFromDumpsys(std::string_view dumpsysWifi) {
  return quotedAfter(dumpsysWifi, "SSID: \"");
}

std::optional<std::string> wakefulness(std::string_view dumpsysPower) {
  auto value = valueAfter(dumpsysPower, "mWakefulness=");
  return value ? std::optional<std::string>(*value) : std::nullopt;
}

std::optional<bool> keyguardShowing(std::string_view dumpsysWindowPolicy) {
  for (std::string_view key : {"isKeyguardShowing=", "mIsShowing=", "mShowingLockscreen="}) {
    if (auto value = valueAfter(dumpsysWindowPolicy, key)) return *value == "true";
  }
  return std::nullopt;
}

std::optional<ScreenFrame> screenFrame(std::string_view wmSize, std::string_view displays) {
  int rotation = 0;
  if (auto value = valueAfter(displays, "mRotation=")) {
    std::string_view digits = startsWith(*value, "ROTATION_") ? value->substr(9) : *value;
    // ROTATION_90 is a quarter turn; the plain form counts quarter turns already.
    if (auto turns = number<int>(digits)) rotation = *turns >= 90 ? *turns / 90 : *turns;
  }
  if (auto current = valueAfter(displays, " cur=")) {
    if (auto size = dimensions(*current)) return ScreenFrame{size->first, size->second, rotation};
  }
  auto size = sizeAfter(wmSize, "Override size:");
  if (!size) size = sizeAfter(wmSize, "Physical size:");
  if (!size) return std::nullopt;
  if (rotation % 2 == 1) std::swap(size->first, size->second);
  return ScreenFrame{size->first, size->second, rotation};
}

std::vector<MdnsService> mdnsServices(std::string_view output) {
  std::vector<MdnsService> result;
  for (auto line : lines(output)) {
    if (startsWith(line, "List of discovered")) continue;
    auto words = pieces(line);
    if (words.size() < 3) continue;
    std::string_view address = words.back();
    size_t colon = address.rfind(':');
    if (colon == std::string_view::npos) continue;
    auto port = number<int>(address.substr(colon + 1));
    if (!port) continue;
    result.push_back({std::string(words[0]), std::string(words[words.size() - 2]),
                      std::string(address.substr(0, colon)), *port});
  }
  return result;
}

std::optional<std::string> focusedActivity(std::string_view dumpsysWindow) {
  size_t at = dumpsysWindow.find("mCurrentFocus=Window{");
  if (at == std::string_view::npos) return std::nullopt;
  size_t end = dumpsysWindow.find('}', at);
  if (end == std::string_view::npos) return std::nullopt;
  auto words = pieces(dumpsysWindow.substr(at, end - at));
  if (words.empty() || words.back().find('/') == std::string_view::npos) return std::nullopt;
  return std::string(words.back());
}

std::optional<std::string> section(std::string_view output, std::string_view name) {
  std::optional<std::string> text;
  for (auto line : lines(output)) {
    if (startsWith(line, "@@")) {
      if (text) break;
      if (line.substr(2) == name) text.emplace();
      continue;
    }
    if (text) text->append(line).append("\n");
  }
  return text;
}

}  // namespace lumivale::AdbParse
