// `wifi setup|list|connect|forget|watch`: tablets set up for Wi-Fi, remembered for the
// account signed in, and connected again when they come back.
#include "cli/wifi_commands.h"

#include <algorithm>
#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/exit_codes.h"
#include "companion/tablet_link.h"
#include "companion/wifi_setup_flow.h"
#include "core/settings/config_json.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/wifi/reconnect_loop.h"
#include "core/tablet/wifi/wifi_reconnect.h"
#include "core/tablet/wifi/wifi_setup.h"
#include "platform/network_changes.h"

namespace lumivale::cli {
namespace {

void setUp(const GlobalOptions& options) {
  // Not pinned: the set-up also talks to the tablet's Wi-Fi serial, new to this look.
  auto bridge = companion::openBridge(options.command);
  RememberedTablet tablet = companion::setUpWifiOverCable(*bridge, options.serial);
  std::cout << companion::setUpSentence(tablet) << "\n";
}

// The tablets remembered by the account signed in.
std::vector<RememberedTablet> ofThisAccount(const LumivaleConfig& config) {
  std::vector<RememberedTablet> tablets;
  for (const auto& tablet : config.wifiTablets)
    if (config.userId && tablet.accountUserId == config.userId) tablets.push_back(tablet);
  return tablets;
}

void list(bool json) {
  LumivaleConfig config = ConfigStore::load();
  config.wifiTablets = ofThisAccount(config);
  if (json) {
    std::cout << ConfigJson::encode(config)["wifiTablets"].dump(2) << "\n";
    return;
  }
  if (config.wifiTablets.empty())
    std::cout << "No Lumivale is set up for Wi-Fi with this account (lumivale wifi setup).\n";
  for (const auto& tablet : config.wifiTablets)
    std::cout << fmt::format("{}  {}  {}:{}  {}{}\n", tablet.serial, tablet.name, tablet.lastIP,
                             tablet.lastPort, tablet.transport,
                             tablet.checkPending.value_or(false) ? "  (check pending)" : "");
}

void requireRemembered(const std::string& serial) {
  auto tablets = ofThisAccount(ConfigStore::load());
  if (std::none_of(tablets.begin(), tablets.end(),
                   [&](const RememberedTablet& tablet) { return tablet.serial == serial; }))
    throw UsageError(fmt::format(
        "no Lumivale with serial '{}' is set up for Wi-Fi with this account (see lumivale wifi "
        "list)",
        serial));
}

// One round; true when every tablet tried is connected.
bool connectRound(AdbBridge& bridge, const std::optional<std::string>& serial,
                  const StopToken& stop) {
  bool all = true;
  for (const auto& outcome : WifiReconnect::round(bridge, serial, &stop)) {
    std::cout << WifiReconnect::describe(outcome) << std::endl;
    all = all && (outcome.result == ReconnectOutcome::Result::connected ||
                  outcome.result == ReconnectOutcome::Result::alreadyConnected);
  }
  return all;
}

void forget(const std::string& serial, const GlobalOptions& options) {
  requireRemembered(serial);
  RememberedTablet forgotten;
  ConfigStore::update([&](LumivaleConfig& config) {
    auto found = std::find_if(
        config.wifiTablets.begin(), config.wifiTablets.end(), [&](const RememberedTablet& tablet) {
          return tablet.serial == serial && tablet.accountUserId == config.userId;
        });
    forgotten = *found;
    config.wifiTablets.erase(found);
  });
  // Forgotten here first; the Wi-Fi connection goes after, as far as adb can drop it.
  try {
    companion::openBridge(options.command)
        ->disconnect(fmt::format("{}:{}", forgotten.lastIP, forgotten.lastPort));
  } catch (const AdbError&) {
  }
  std::cout << fmt::format("Forgot {} ({}).\n", forgotten.name, serial);
}

}  // namespace

void addWifiCommands(CLI::App& app, GlobalOptions& options) {
  auto* wifi = app.add_subcommand("wifi", "Use the tablet over Wi-Fi");
  wifi->require_subcommand(1);
  wifi->add_subcommand("setup", "Set up Wi-Fi for the tablet on the cable")->callback([&options] {
    setUp(options);
  });

  auto* pair = wifi->add_subcommand(
      "pair", "Set up Wi-Fi by pairing with the code the tablet shows (Wireless debugging)");
  auto hostPort = std::make_shared<std::string>();
  auto code = std::make_shared<std::string>();
  pair->add_option("address", *hostPort, "HOST:PORT, as the tablet shows it for pairing")
      ->required();
  pair->add_option("code", *code, "The six-digit code")->required();
  pair->callback([&options, hostPort, code] {
    auto bridge = companion::openBridge(options.command);
    RememberedTablet tablet = WifiSetup::withCode(*bridge, *hostPort, *code, ConfigStore::load());
    std::cout << fmt::format("Paired; Wi-Fi is set up for {} at {}:{}.\n", tablet.name,
                             tablet.lastIP, tablet.lastPort);
  });

  auto* listCommand = wifi->add_subcommand("list", "The tablets set up for Wi-Fi");
  auto json = std::make_shared<bool>(false);
  listCommand->add_flag("--json", *json, "Print JSON, as the settings file holds them");
  listCommand->callback([json] { list(*json); });

  auto* connect = wifi->add_subcommand("connect", "Connect the tablets set up for Wi-Fi now");
  auto serial = std::make_shared<std::string>();
  connect->add_option("serial", *serial, "Only this tablet");
  connect->callback([&options, serial] {
    std::optional<std::string> only;
    if (!serial->empty()) requireRemembered(*(only = *serial));
    if (!connectRound(*companion::openBridge(options.command), only, options.command))
      throw ExitStatus{exitFailure};
  });

  auto* forgetCommand = wifi->add_subcommand("forget", "Stop using a tablet over Wi-Fi");
  auto forgotten = std::make_shared<std::string>();
  forgetCommand->add_option("serial", *forgotten, "The tablet, as wifi list shows it")->required();
  forgetCommand->callback([&options, forgotten] { forget(*forgotten, options); });

  wifi->add_subcommand("watch",
                       "Connect the tablets set up for Wi-Fi again whenever they come back "
                       "(every 30 seconds and when the network changes, until Ctrl-C)")
      ->callback([&options] {
        auto bridge = companion::openBridge(options.command);
        auto changes = platform::followNetworkChanges();
        WifiReconnect::keepTrying(
            *changes,
            [&](WifiReconnect::RoundCause cause) {
              if (cause == WifiReconnect::RoundCause::networkChanged)
                std::cout << "The network changed: looking again." << std::endl;
              connectRound(*bridge, std::nullopt, options.command);
            },
            options.command);
      });
}

}  // namespace lumivale::cli
