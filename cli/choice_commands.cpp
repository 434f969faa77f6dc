// `devices`, `use` and `status`: which tablets there are, which one is used, and
// whether it is ready.
#include <algorithm>
#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/device_commands.h"
#include "cli/exit_codes.h"
#include "cli/json_shapes.h"
#include "cli/screen_state.h"
#include "companion/tablet_link.h"
#include "core/error.h"
#include "core/settings/config_store.h"

namespace lumivale::cli {
namespace {

using companion::TabletLook;

void printDevices(const TabletLook& look, bool json) {
  const AdbDevice* inUse = look.choice.selected ? &*look.choice.selected : nullptr;
  // The tablet in use has the look's state, which its Wi-Fi check may have lowered.
  auto stateOf = [&](const AdbTablet& tablet) {
    if (inUse && tablet.hasSerial(inUse->serial)) return look.choice.state;
    return TabletState::of(tablet.preferredConnection(), {tablet}, false, std::nullopt);
  };
  if (json) {
    nlohmann::json tablets = nlohmann::json::array();
    for (const auto& tablet : look.tablets) {
      nlohmann::json connections = nlohmann::json::array();
      for (const auto& connection : tablet.connections)
        connections.push_back(connectionJson(connection));
      tablets.push_back({{"serial", tablet.serial},
                         {"state", stateOf(tablet).name()},
                         {"inUse", inUse && tablet.hasSerial(inUse->serial)},
                         {"connections", connections}});
    }
    std::cout << nlohmann::json{{"state", look.choice.state.name()},
                                {"chosen", optionalJson(look.pinned)},
                                {"tablets", tablets}}
                     .dump(2)
              << "\n";
    return;
  }
  if (look.tablets.empty()) std::cout << "No Lumivale is connected.\n";
  for (const auto& tablet : look.tablets) {
    bool used = inUse && tablet.hasSerial(inUse->serial);
    std::cout << fmt::format("{}  {}{}\n", tablet.serial, stateOf(tablet).name(),
                             used ? "  (in use)" : "");
    for (const auto& connection : tablet.connections)
      std::cout << fmt::format("  {:<5} {}  {}\n", connection.isWifi() ? "wifi" : "cable",
                               connection.serial, connection.state);
  }
}

// The screen is read only for a ready tablet; `typedSerial` is the one given with --serial.
void printStatus(const TabletLook& look, const std::optional<ScreenState>& screen,
                 const std::optional<std::string>& typedSerial, bool json) {
  TabletState state = look.choice.state;
  std::optional<std::string> serial;
  if (look.choice.selected) serial = look.choice.selected->serial;
  std::optional<std::string> refusal = state.refusal();
  if (typedSerial && state == TabletState::chosenAway)
    refusal = companion::serialNotConnected(*typedSerial);
  if (json) {
    std::cout << nlohmann::json{{"state", state.name()},
                                {"serial", optionalJson(serial)},
                                {"refusal", optionalJson(refusal)},
                                {"screen", screenJson(screen)}}
                     .dump(2)
              << "\n";
    return;
  }
  std::cout << state.name() << (serial ? "  " + *serial : "") << "\n";
  if (refusal) std::cout << *refusal << "\n";
  if (screen) {
    std::cout << "screen: " << describe(*screen) << "\n";
    if (!screen->awake()) std::cout << "Wake it with lumivale wake before typing or tapping.\n";
    if (screen->locked) std::cout << "Unlock it on the tablet before typing or tapping.\n";
  }
}

// What the options of these commands hold once parsed; owned by their callbacks.
struct ChoiceFlags {
  bool json = false;
  std::string serial;
  bool clear = false;
};

}  // namespace

void addChoiceCommands(CLI::App& app, GlobalOptions& options) {
  auto flags = std::make_shared<ChoiceFlags>();
  auto* devices = app.add_subcommand("devices", "List the connected tablets and their state");
  devices->add_flag("--json", flags->json, "Print JSON");
  devices->callback([&options, flags] {
    LumivaleConfig config = ConfigStore::load();
    auto bridge = companion::openBridge(options.command);
    printDevices(companion::lookForTablets(*bridge, options.serial, config), flags->json);
  });

  auto* use = app.add_subcommand("use", "Choose the tablet to use");
  auto* serialOption =
      use->add_option("SERIAL", flags->serial, "A tablet serial from lumivale devices");
  auto* clearFlag = use->add_flag("--clear", flags->clear, "Forget the choice");
  serialOption->excludes(clearFlag);
  use->callback([&options, flags] {
    const std::string& serial = flags->serial;
    if (flags->clear) {
      ConfigStore::update([](LumivaleConfig& config) { config.deviceSerial.reset(); });
      std::cout << "No tablet is chosen; the only one connected will be used.\n";
      return;
    }
    if (serial.empty()) throw UsageError("give a serial from lumivale devices, or --clear");
    auto bridge = companion::openBridge(options.command);
    LumivaleConfig config = ConfigStore::load();
    auto tablets = companion::lookForTablets(*bridge, options.serial, config).tablets;
    auto found = std::find_if(tablets.begin(), tablets.end(),
                              [&](const AdbTablet& tablet) { return tablet.hasSerial(serial); });
    if (found == tablets.end()) throw Error(companion::serialNotConnected(serial));
    ConfigStore::update([&](LumivaleConfig& config) { config.deviceSerial = found->serial; });
    std::cout << "Using " << found->serial << ".\n";
  });

  auto* status = app.add_subcommand("status", "Whether the tablet is ready (exit 0 when it is)");
  status->add_flag("--json", flags->json, "Print JSON");
  status->callback([&options, flags] {
    LumivaleConfig config = ConfigStore::load();
    auto bridge = companion::openBridge(options.command);
    TabletLook look = companion::lookForTablets(*bridge, options.serial, config);
    // -q asks for the state alone (what scripts poll), so the screen, one more round trip
    // to the tablet, is read only when it will be shown.
    const bool showScreen = flags->json || !options.quiet;
    std::optional<ScreenState> screen;
    if (look.choice.state == TabletState::ready && showScreen)
      screen = readScreen(*bridge, *look.serial);
    printStatus(look, screen, options.serial, flags->json);
    if (look.choice.state != TabletState::ready) throw ExitStatus{1};
  });
}

}  // namespace lumivale::cli
