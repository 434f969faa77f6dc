#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/files/adb_files.h"
#include "core/settings/lumivale_config.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_locate.h"
#include "core/tablet/tablet_grouping.h"
#include "core/tablet/tools/android_tools.h"

namespace lumivale::companion {

// The search for adb as this program does it: its own install folder, the SDK
// variables, the usual places, and its own downloaded copy in the settings folder.
AdbSearch adbSearch();

// Where `lumivale tools install` gets Android's tools and puts them. Development builds
// may name another manifest (LUMIVALE_TOOLS_MANIFEST_URL) and a shorter deadline in
// seconds (LUMIVALE_TOOLS_DEADLINE), for tests against a server of their own.
ToolsInstallOptions toolsInstallOptions();

// The bridge on the adb found for this machine, every run of it under `command` (the
// front end's token for the work at hand). Throws AdbError (toolsMissing) when there is none.
// `rememberAnswers` keeps which adb programs answered in the settings folder, for the next run.
std::shared_ptr<AdbBridge> openBridge(StopToken command = {}, bool rememberAnswers = true);

// One look at the tablets: one `adb devices -l`, grouped and chosen. A chosen Wi-Fi
// connection that is ready must also pass the secret check (one more adb run; a
// cable needs none), or the state is notConnected.
struct TabletLook {
  std::vector<AdbTablet> tablets;
  std::optional<std::string>
      pinned;  // the serial asked for, else the chosen tablet of the settings
  AdbTablets::Choice choice;
  std::optional<std::string> serial;  // the connection to address, once ready
};

// `pinnedSerial` names the tablet for this one use, over the one chosen in the settings.
TabletLook lookForTablets(AdbBridge& bridge, const std::optional<std::string>& pinnedSerial,
                          const LumivaleConfig& config, const StopToken* stop = nullptr);

// The refusal for a serial asked for by name that no connected tablet has.
std::string serialNotConnected(const std::string& serial);

// A tablet ready for work, and the bridge pinned to it.
struct ReadyTablet {
  std::shared_ptr<AdbBridge> bridge;
  std::string serial;  // the connection to address
  std::string tablet;  // the tablet's own serial, the same over a cable and over Wi-Fi
};

// Resolves the tablet the work is for and refuses, with AdbError carrying the sentence
// of its state, when it is not ready. Every piece of work on the tablet starts here.
ReadyTablet requireReadyTablet(std::shared_ptr<AdbBridge> bridge,
                               const std::optional<std::string>& pinnedSerial,
                               const LumivaleConfig& config);
// The same on a newly opened bridge, with the settings as they are now.
ReadyTablet requireReadyTablet(const std::optional<std::string>& pinnedSerial,
                               StopToken command = {});

// File operations on the ready tablet, with the bridge they run through (kept alive
// beside them).
struct TabletFiles {
  std::shared_ptr<AdbBridge> bridge;
  AdbFiles files;
  std::string tablet;  // the tablet's own serial
};
TabletFiles openTabletFiles(const std::optional<std::string>& pinnedSerial, StopToken command = {});

}  // namespace lumivale::companion
