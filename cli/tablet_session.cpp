#include "cli/tablet_session.h"

#include <unistd.h>

#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "core/tablet/adb_error.h"

namespace lumivale::cli {
namespace fs = std::filesystem;

namespace {

// The folder this program is installed in, from the running executable.
fs::path installFolder() {
  std::error_code error;
  fs::path self = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path() : self.parent_path();
}

}  // namespace

AdbSearch adbSearch() {
  Environment environment = productEnvironment();
  auto home = environment.find("HOME");
  fs::path settings = ConfigStore::directory();
  return AdbSearch{environment,     home == environment.end() ? fs::path() : fs::path(home->second),
                   installFolder(), settings,
                   nullptr,         settings / "adb-answered"};
}

std::shared_ptr<AdbBridge> openBridge() {
  AdbSearch search = adbSearch();
  auto hooks = StandinHooks::from(search.environment);
  return AdbBridge::locate(search, search.environment, std::move(hooks));
}

TabletLook lookForTablets(AdbBridge& bridge, const GlobalOptions& options,
                          const LumivaleConfig& config) {
  TabletLook look;
  look.tablets = bridge.tablets(true, config.wifiTablets, config.userId);
  look.pinned = options.serial ? options.serial : config.deviceSerial;
  look.choice = AdbTablets::choose(look.tablets, look.pinned);
  if (look.choice.state == TabletState::ready) {
    look.serial = bridge.checkedSerial(look.choice.selected->serial, config.wifiTablets);
    // A Wi-Fi connection whose tablet failed its secret check is as good as none.
    if (!look.serial) look.choice.state = TabletState::notConnected;
  }
  return look;
}

ReadyTablet requireReadyTablet(const GlobalOptions& options) {
  LumivaleConfig config = ConfigStore::load();
  auto bridge = openBridge();
  TabletLook look = lookForTablets(*bridge, options, config);
  if (auto refusal = look.choice.state.refusal()) throw AdbError(*refusal);
  for (const auto& tablet : look.tablets)
    if (tablet.hasSerial(*look.serial)) bridge->pin(tablet);
  return {bridge, *look.serial};
}

}  // namespace lumivale::cli
