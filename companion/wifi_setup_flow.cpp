#include "companion/wifi_setup_flow.h"

#include <fmt/format.h>

#include "companion/tablet_link.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"

namespace lumivale::companion {

RememberedTablet setUpWifiOverCable(AdbBridge& bridge,
                                    const std::optional<std::string>& pinnedSerial,
                                    const StopToken* stop, Observer<WifiSetup::Step>* progress) {
  LumivaleConfig config = ConfigStore::load();
  TabletLook look = lookForTablets(bridge, pinnedSerial, config, stop);
  if (auto refusal = look.choice.state.refusal()) throw AdbError(*refusal);
  if (look.choice.selected->isWifi())
    throw AdbError("Plug your Lumivale in with USB-C to set up Wi-Fi, then try again.");
  return WifiSetup::overCable(bridge, *look.serial, config, stop, progress);
}

std::string setUpSentence(const RememberedTablet& tablet) {
  return fmt::format("Wi-Fi is set up for {} at {}:{}.", tablet.name, tablet.lastIP,
                     tablet.lastPort);
}

}  // namespace lumivale::companion
