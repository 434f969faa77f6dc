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

// The serials this Mac already knows for its tablets: the chosen one and those remembered
// for Wi-Fi. adb leaves the model pieces out of the line of a tablet that waits for
// approval or is offline, so a line is recognised by one of these serials too.
struct KnownTablets {
  std::optional<std::string> chosen;
  std::vector<RememberedTablet> remembered;

  bool knows(const std::string& serial) const;
};

// The devices to consider: only LV-1 tablets when `onlyLumivale` (a line with a known
// serial is one whatever it carries), with the stand-in hooks applied (the stand-in
// counts as a cabled tablet).
std::vector<AdbParse::ParsedDevice> select(std::vector<AdbParse::ParsedDevice> parsed,
                                           bool onlyLumivale, const StandinHooks& hooks,
                                           const KnownTablets& known = {});

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
// `wirelessPreferred`: a ready Wi-Fi connection goes before the cable.
Choice choose(const std::vector<AdbTablet>& tablets, const std::optional<std::string>& pinned,
              bool looking = false, bool wirelessPreferred = false);

}  // namespace lumivale::AdbTablets
