#include "companion/tablet_link.h"

#include <cstdlib>

#include <fmt/format.h>

#include "companion/app_settings_store.h"
#include "companion/program_folder.h"
#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/startup_gate.h"
#include "core/tablet/tools/tools_receipt.h"

namespace lumivale::companion {
namespace fs = std::filesystem;

AdbSearch adbSearch() {
  Environment environment = productEnvironment();
  auto home = environment.find("HOME");
  fs::path settings = ConfigStore::directory();
  // Our own copy is used only while it matches the receipt written when it was installed.
  auto ownCopyCheck = [](const fs::path& adb) { return checkOwnCopy(adb.parent_path()); };
  return AdbSearch{environment,     home == environment.end() ? fs::path() : fs::path(home->second),
                   programFolder(), settings,
                   ownCopyCheck,    settings / "adb-answered"};
}

ToolsInstallOptions toolsInstallOptions() {
  ToolsInstallOptions options;
  options.supportFolder = ConfigStore::directory();
  Environment environment = productEnvironment();
  if (auto manifest = environment.find("LUMIVALE_TOOLS_MANIFEST_URL");
      manifest != environment.end() && !manifest->second.empty())
    options.manifestUrl = manifest->second;
  if (auto deadline = environment.find("LUMIVALE_TOOLS_DEADLINE"); deadline != environment.end()) {
    char* end = nullptr;
    const double seconds = std::strtod(deadline->second.c_str(), &end);
    if (end && *end == '\0' && seconds > 0) options.deadline = Seconds(seconds);
  }
  return options;
}

std::shared_ptr<AdbBridge> openBridge(StopToken command, bool rememberAnswers) {
  AdbSearch search = adbSearch();
  if (!rememberAnswers) search.versionMemo.reset();
  auto hooks = StandinHooks::from(search.environment);
  auto bridge = AdbBridge::locate(search, search.environment, std::move(hooks));
  bridge->runUnder(std::move(command));
  return bridge;
}

TabletLook lookForTablets(AdbBridge& bridge, const std::optional<std::string>& pinnedSerial,
                          const LumivaleConfig& config, const StopToken* stop) {
  TabletLook look;
  look.pinned = pinnedSerial ? pinnedSerial : config.deviceSerial;
  look.tablets = bridge.tablets(true, config.wifiTablets, config.userId, look.pinned, stop);
  const bool wirelessPreferred = AppSettingsStore::standard().load().wirelessPreferred;
  look.choice = AdbTablets::choose(look.tablets, look.pinned, false, wirelessPreferred);
  if (look.choice.state == TabletState::ready) {
    look.serial = bridge.checkedSerial(look.choice.selected->serial, config.wifiTablets, stop);
    // A preferred Wi-Fi connection that failed its check leaves the cable, if there is one.
    if (!look.serial && wirelessPreferred) {
      look.choice = AdbTablets::choose(look.tablets, look.pinned);
      if (look.choice.state == TabletState::ready && !look.choice.selected->isWifi())
        look.serial = look.choice.selected->serial;
    }
    // A Wi-Fi connection whose tablet failed its secret check is as good as none.
    if (!look.serial) look.choice.state = TabletState::notConnected;
  }
  return look;
}

std::string serialNotConnected(const std::string& serial) {
  return fmt::format("no Lumivale with serial '{}' is connected (see lumivale devices)", serial);
}

namespace {

// A connection adb has just numbered anew is a tablet that has just appeared: work waits
// until it has finished starting.
void waitUntilStarted(AdbBridge& bridge, const std::string& serial) {
  const fs::path memo = ConfigStore::directory() / "started-tablets";
  auto transport = bridge.transportId(serial);
  if (transport && StartupGate::seenStarted(memo, serial, *transport)) return;
  const Seconds wait = StartupGate::limit * StandinHooks::from(productEnvironment()).timeoutScale;
  StartupGate::waitUntilStarted(bridge, serial, wait);
  // Only a memo: it never makes the settings folder (removing the program leaves none).
  std::error_code absent;
  if (transport && fs::is_directory(memo.parent_path(), absent))
    StartupGate::rememberStarted(memo, serial, *transport);
}

}  // namespace

ReadyTablet requireReadyTablet(std::shared_ptr<AdbBridge> bridge,
                               const std::optional<std::string>& pinnedSerial,
                               const LumivaleConfig& config) {
  TabletLook look = lookForTablets(*bridge, pinnedSerial, config);
  // A serial typed for this one use is not "the one this Mac is set to use".
  if (pinnedSerial && look.choice.state == TabletState::chosenAway)
    throw AdbError(serialNotConnected(*pinnedSerial));
  if (auto refusal = look.choice.state.refusal()) throw AdbError(*refusal);
  waitUntilStarted(*bridge, *look.serial);
  std::string tabletSerial = *look.serial;
  for (const auto& tablet : look.tablets) {
    if (!tablet.hasSerial(*look.serial)) continue;
    bridge->pin(tablet);
    tabletSerial = tablet.serial;
  }
  return {std::move(bridge), *look.serial, tabletSerial};
}

ReadyTablet requireReadyTablet(const std::optional<std::string>& pinnedSerial, StopToken command) {
  LumivaleConfig config = ConfigStore::load();
  return requireReadyTablet(openBridge(std::move(command)), pinnedSerial, config);
}

TabletFiles openTabletFiles(const std::optional<std::string>& pinnedSerial, StopToken command) {
  ReadyTablet tablet = requireReadyTablet(pinnedSerial, command);
  AdbFiles files = AdbFiles(*tablet.bridge, tablet.serial).stoppedBy(std::move(command));
  return {tablet.bridge, files, tablet.tablet};
}

}  // namespace lumivale::companion
