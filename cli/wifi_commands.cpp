// `wifi setup`: the tablet on the cable set up for Wi-Fi, and remembered for the account.
#include "cli/wifi_commands.h"

#include <iostream>

#include <fmt/format.h>

#include "companion/tablet_link.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/wifi/wifi_setup.h"

namespace lumivale::cli {
namespace {

void setUp(const GlobalOptions& options) {
  LumivaleConfig config = ConfigStore::load();
  // Not pinned: the set-up also talks to the tablet's Wi-Fi serial, new to this look.
  auto bridge = companion::openBridge(options.command);
  companion::TabletLook look = companion::lookForTablets(*bridge, options.serial, config);
  if (auto refusal = look.choice.state.refusal()) throw AdbError(*refusal);
  if (look.choice.selected->isWifi())
    throw AdbError("Plug your Lumivale in with USB-C to set up Wi-Fi, then try again.");
  RememberedTablet tablet = WifiSetup::overCable(*bridge, *look.serial, config);
  std::cout << fmt::format("Wi-Fi is set up for {} at {}:{}.\n", tablet.name, tablet.lastIP,
                           tablet.lastPort);
}

}  // namespace

void addWifiCommands(CLI::App& app, GlobalOptions& options) {
  auto* wifi = app.add_subcommand("wifi", "Use the tablet over Wi-Fi");
  wifi->require_subcommand(1);
  wifi->add_subcommand("setup", "Set up Wi-Fi for the tablet on the cable")->callback([&options] {
    setUp(options);
  });
}

}  // namespace lumivale::cli
