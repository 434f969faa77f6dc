#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/cli_options.h"
#include "core/settings/lumivale_config.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/tablet_grouping.h"

namespace lumivale::cli {

// The search for adb as this program does it: its own install folder, the SDK
// variables, the usual places, and its own downloaded copy in the settings folder.
AdbSearch adbSearch();

// The bridge on the adb found for this machine. Throws AdbError (toolsMissing) when
// there is none.
std::shared_ptr<AdbBridge> openBridge();

// One look at the tablets: one `adb devices -l`, grouped and chosen. A chosen Wi-Fi
// connection that is ready must also pass the secret check (one more adb run; a
// cable needs none), or the state is notConnected.
struct TabletLook {
  std::vector<AdbTablet> tablets;
  std::optional<std::string> pinned;  // --serial, else the chosen tablet of the settings
  AdbTablets::Choice choice;
  std::optional<std::string> serial;  // the connection to address, once ready
};
TabletLook lookForTablets(AdbBridge& bridge, const GlobalOptions& options,
                          const LumivaleConfig& config);

// A tablet ready for commands, and the bridge pinned to it.
struct ReadyTablet {
  std::shared_ptr<AdbBridge> bridge;
  std::string serial;  // the connection to address
};

// Resolves the tablet this command is for and refuses, with the sentence of its
// state, when it is not ready. Every command that works on the tablet starts here.
ReadyTablet requireReadyTablet(const GlobalOptions& options);

}  // namespace lumivale::cli
