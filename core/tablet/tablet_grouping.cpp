#include "core/tablet/tablet_grouping.h"

#include <algorithm>

namespace lumivale::AdbTablets {

bool KnownTablets::knows(const std::string& serial) const {
  if (serial == chosen || rememberedFor(serial, remembered)) return true;
  return std::any_of(remembered.begin(), remembered.end(),
                     [&](const RememberedTablet& tablet) { return tablet.serial == serial; });
}

std::vector<AdbParse::ParsedDevice> select(std::vector<AdbParse::ParsedDevice> parsed,
                                           bool onlyLumivale, const StandinHooks& hooks,
                                           const KnownTablets& known) {
  std::erase_if(parsed, [&](const AdbParse::ParsedDevice& entry) {
    bool standin = entry.device.serial == hooks.serial;
    if (hooks.only) return !standin;
    return onlyLumivale && !standin && !AdbParse::isLumivaleLine(entry.raw) &&
           !known.knows(entry.device.serial);
  });
  for (auto& entry : parsed)
    if (entry.device.serial == hooks.serial) entry.device.transport.reset();
  return parsed;
}

const RememberedTablet* rememberedFor(const std::string& wifiSerial,
                                      const std::vector<RememberedTablet>& remembered) {
  for (const auto& tablet : remembered) {
    bool byAddress = wifiSerial == tablet.lastIP + ":" + std::to_string(tablet.lastPort);
    bool byName = tablet.mdnsName && !tablet.mdnsName->empty() &&
                  wifiSerial.starts_with(*tablet.mdnsName + ".");
    if (byAddress || byName) return &tablet;
  }
  return nullptr;
}

std::vector<AdbTablet> group(const std::vector<AdbDevice>& devices,
                             const std::vector<RememberedTablet>& remembered,
                             const std::optional<std::string>& signedInUserId) {
  std::vector<AdbTablet> tablets;
  auto add = [&](const std::string& tabletSerial, const AdbDevice& device) {
    auto found = std::find_if(tablets.begin(), tablets.end(), [&](const AdbTablet& tablet) {
      return tablet.serial == tabletSerial;
    });
    if (found == tablets.end())
      tablets.push_back({tabletSerial, {device}});
    else
      found->connections.push_back(device);
  };
  for (const auto& device : devices) {
    if (!device.isWifi()) {
      add(device.serial, device);
      continue;
    }
    // Signed out, there is no account whose tablets could count.
    if (!signedInUserId) continue;
    const RememberedTablet* known = rememberedFor(device.serial, remembered);
    if (known && known->accountUserId == signedInUserId) add(known->serial, device);
  }
  return tablets;
}

Choice choose(const std::vector<AdbTablet>& tablets, const std::optional<std::string>& pinned,
              bool looking, bool wirelessPreferred) {
  std::optional<AdbDevice> selected;
  if (pinned) {
    auto found = std::find_if(tablets.begin(), tablets.end(),
                              [&](const AdbTablet& tablet) { return tablet.hasSerial(*pinned); });
    if (found != tablets.end()) selected = found->preferredConnection(wirelessPreferred);
  } else if (tablets.size() == 1) {
    selected = tablets.front().preferredConnection(wirelessPreferred);
  }
  return {selected, TabletState::of(selected, tablets, looking, pinned)};
}

}  // namespace lumivale::AdbTablets
