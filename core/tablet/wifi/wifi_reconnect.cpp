#include "core/tablet/wifi/wifi_reconnect.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"

namespace lumivale::WifiReconnect {
namespace {

std::string addressOf(const RememberedTablet& tablet) {
  return fmt::format("{}:{}", tablet.lastIP, tablet.lastPort);
}

// Where the tablet may be now: its last address, then what mDNS advertises for it.
std::vector<std::string> placesToTry(AdbBridge& bridge, const RememberedTablet& tablet,
                                     const StopToken* stop) {
  std::vector<std::string> places{addressOf(tablet)};
  if (!tablet.mdnsName || tablet.mdnsName->empty()) return places;
  try {
    for (const auto& service : bridge.mdnsServices(stop)) {
      std::string place = fmt::format("{}:{}", service.host, service.port);
      if (service.instance == *tablet.mdnsName &&
          service.type.find("_adb-tls-connect") != std::string::npos &&
          std::find(places.begin(), places.end(), place) == places.end())
        places.push_back(place);
    }
  } catch (const AdbError&) {
    // An adb without mDNS: the last address is all there is.
  }
  return places;
}

void rememberAddress(const std::string& serial, const std::string& place) {
  const size_t colon = place.rfind(':');
  ConfigStore::update([&](LumivaleConfig& config) {
    for (auto& tablet : config.wifiTablets) {
      if (tablet.serial != serial) continue;
      tablet.lastIP = place.substr(0, colon);
      tablet.lastPort = std::stoi(place.substr(colon + 1));
    }
  });
}

ReconnectOutcome tryTablet(AdbBridge& bridge, const RememberedTablet& tablet,
                           const std::vector<RememberedTablet>& remembered,
                           const std::vector<AdbParse::ParsedDevice>& listed,
                           const StopToken* stop) {
  ReconnectOutcome outcome{tablet.serial, addressOf(tablet), ReconnectOutcome::Result::notFound,
                           ""};
  for (const auto& entry : listed) {
    const auto& device = entry.device;
    if (device.serial != tablet.serial && device.serial != outcome.address) continue;
    if (device.state == "device") {
      outcome.address = device.serial;
      outcome.result = ReconnectOutcome::Result::alreadyConnected;
      return outcome;
    }
    // A connection adb keeps but cannot use (offline) is let go, so it is dialled afresh.
    if (device.serial == outcome.address) bridge.disconnect(device.serial, stop);
  }
  for (const auto& place : placesToTry(bridge, tablet, stop)) {
    outcome.address = place;
    try {
      bridge.connect(place, stop);
    } catch (const AdbError& error) {
      outcome.detail = error.message();
      continue;
    }
    // The check is made against the tablet as remembered, at the place it answered.
    RememberedTablet there = tablet;
    const size_t colon = place.rfind(':');
    there.lastIP = place.substr(0, colon);
    there.lastPort = std::stoi(place.substr(colon + 1));
    std::vector<RememberedTablet> known = remembered;
    std::replace(known.begin(), known.end(), tablet, there);
    if (bridge.checkedSerial(place, known, stop)) {
      if (place != addressOf(tablet)) rememberAddress(tablet.serial, place);
      outcome.result = ReconnectOutcome::Result::connected;
      outcome.detail.clear();
      return outcome;
    }
    bridge.disconnect(place, stop);
    outcome.result = ReconnectOutcome::Result::failedCheck;
    return outcome;
  }
  return outcome;
}

}  // namespace

std::vector<ReconnectOutcome> round(AdbBridge& bridge, const std::optional<std::string>& onlySerial,
                                    const StopToken* stop) {
  LumivaleConfig config = ConfigStore::load();
  std::vector<ReconnectOutcome> outcomes;
  if (!config.userId) return outcomes;
  auto listed = bridge.devices(false, {std::nullopt, config.wifiTablets}, stop);
  for (const auto& tablet : config.wifiTablets) {
    if (tablet.accountUserId != config.userId || (onlySerial && tablet.serial != *onlySerial))
      continue;
    outcomes.push_back(tryTablet(bridge, tablet, config.wifiTablets, listed, stop));
  }
  return outcomes;
}

std::string describe(const ReconnectOutcome& outcome) {
  switch (outcome.result) {
    case ReconnectOutcome::Result::alreadyConnected:
      return fmt::format("{}: connected as {}", outcome.serial, outcome.address);
    case ReconnectOutcome::Result::connected:
      return fmt::format("{}: connected again at {}", outcome.serial, outcome.address);
    case ReconnectOutcome::Result::failedCheck:
      return fmt::format("{}: the device at {} did not show this tablet's check, so it is not used",
                         outcome.serial, outcome.address);
    case ReconnectOutcome::Result::notFound:
      break;
  }
  return fmt::format("{}: not found at {} ({})", outcome.serial, outcome.address, outcome.detail);
}

}  // namespace lumivale::WifiReconnect
