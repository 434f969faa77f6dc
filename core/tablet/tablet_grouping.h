#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/settings/lumivale_config.h"
#include "core/tablet/adb_device.h"
#include "core/tablet/adb_parse.h"
#include "core/tablet/standin_hooks.h"
#include "core/tablet/tablet_state.h"

namespace lumivale::AdbTablets {

// The devices to consider: only LV-1 tablets when `onlyLumivale`, with the stand-in
// hooks applied (the stand-in counts as a cabled tablet).
std::vector<AdbParse::ParsedDevice> select(std::vector<AdbParse::ParsedDevice> parsed,
                                           bool onlyLumivale, const StandinHooks& hooks);

// The remembered tablet a Wi-Fi serial reaches (by its last address or mDNS name).
const RememberedTablet* rememberedFor(const std::string& wifiSerial,
                                      const std::vector<RememberedTablet>& remembered);

// One tablet per physical device. A cable connection names its tablet; a Wi-Fi one
// counts only for a tablet remembered by the account now signed in, and joins the
// cable connection of the same tablet.
std::vector<AdbTablet> group(const std::vector<AdbDevice>& devices,
                             const std::vector<RememberedTablet>& remembered,
                             const std::optional<std::string>& signedInUserId);

// The connection to use and the state it gives.
struct Choice {
  std::optional<AdbDevice> selected;
  TabletState state = TabletState::notConnected;
};
Choice choose(const std::vector<AdbTablet>& tablets, const std::optional<std::string>& pinned,
              bool looking = false);

}  // namespace lumivale::AdbTablets
