#include "companion/tablet_link.h"

#include <fmt/format.h>

#include "companion/program_folder.h"
#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "core/tablet/adb_error.h"

namespace lumivale::companion {
namespace fs = std::filesystem;

AdbSearch adbSearch() {
  Environment environment = productEnvironment();
  auto home = environment.find("HOME");
  fs::path settings = ConfigStore::directory();
  return AdbSearch{environment,     home == environment.end() ? fs::path() : fs::path(home->second),
                   programFolder(), settings,
                   nullptr,         settings / "adb-answered"};
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
  look.choice = AdbTablets::choose(look.tablets, look.pinned);
  if (look.choice.state == TabletState::ready) {
    look.serial = bridge.checkedSerial(look.choice.selected->serial, config.wifiTablets, stop);
    // A Wi-Fi connection whose tablet failed its secret check is as good as none.
    if (!look.serial) look.choice.state = TabletState::notConnected;
  }
  return look;
}

std::string serialNotConnected(const std::string& serial) {
  return fmt::format("no Lumivale with serial '{}' is connected (see lumivale devices)", serial);
}

ReadyTablet requireReadyTablet(std::shared_ptr<AdbBridge> bridge,
                               const std::optional<std::string>& pinnedSerial,
                               const LumivaleConfig& config) {
  TabletLook look = lookForTablets(*bridge, pinnedSerial, config);
  // A serial typed for this one use is not "the one this Mac is set to use".
  if (pinnedSerial && look.choice.state == TabletState::chosenAway)
    throw AdbError(serialNotConnected(*pinnedSerial));
  if (auto refusal = look.choice.state.refusal()) throw AdbError(*refusal);
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
