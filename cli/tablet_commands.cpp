// `info`, `wake`, `screenshot`, `tap`, `type` and `open`: things done to the ready tablet.
#include <fstream>
#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/clipboard_history_commands.h"
#include "cli/device_commands.h"
#include "cli/exit_codes.h"
#include "cli/json_shapes.h"
#include "cli/screen_state.h"
#include "companion/tablet_link.h"
#include "core/settings/atomic_file.h"
#include "core/settings/url.h"
#include "core/tablet/adb_error.h"

namespace lumivale::cli {
namespace {

struct TabletArguments {
  bool json = false;
  std::string file;
  int x = 0;
  int y = 0;
  std::string text;
  std::string url;
};

std::string orUnknown(const std::optional<std::string>& value) {
  return value.value_or("unknown");
}

template <typename T>
std::string orUnknown(const std::optional<T>& value) {
  return value ? std::to_string(*value) : "unknown";
}

void printInfo(const DeviceInfo& info, const ScreenState& screen, bool json) {
  if (json) {
    nlohmann::json shape = info;
    shape["screen"] = screenJson(screen);
    std::cout << shape.dump(2) << "\n";
    return;
  }
  auto line = [](const char* label, const std::string& value) {
    std::cout << fmt::format("{:<18}{}\n", label, value);
  };
  line("serial", info.serial);
  line("model", info.model);
  line("version", info.versionLabel + " (" + info.channel + ")");
  line("android", info.androidRelease);
  line("build", info.buildFingerprint);
  line("battery", info.batteryPercent
                      ? fmt::format("{}%{}", *info.batteryPercent,
                                    info.charging.value_or(false) ? ", charging" : "")
                      : "unknown");
  line("storage free", info.dataFreeBytes
                           ? fmt::format("{:.1f} of {:.1f} GB", *info.dataFreeBytes / 1e9,
                                         info.dataTotalBytes.value_or(0) / 1e9)
                           : "unknown");
  line("wi-fi", orUnknown(info.wifiSsid));
  line("address", orUnknown(info.ipAddress));
  line("screen", describe(screen));
}

// Only an address the tablet's browser can open goes to the tablet.
void requireWebAddress(const std::string& text) {
  auto url = Url::parse(text);
  if (!url || (url->scheme != "http" && url->scheme != "https") || !url->host || url->host->empty())
    throw UsageError(fmt::format(
        "'{}' is not a web address (give one that starts with http:// or https://)", text));
}

}  // namespace

void addTabletCommands(CLI::App& app, GlobalOptions& options) {
  auto arguments = std::make_shared<TabletArguments>();

  auto* info = app.add_subcommand("info", "Show the tablet's model, version, battery and storage");
  info->add_flag("--json", arguments->json, "Print JSON");
  info->callback([&options, arguments] {
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    DeviceInfo facts = tablet.bridge->deviceInfo(tablet.serial);
    printInfo(facts, readScreen(*tablet.bridge, tablet.serial), arguments->json);
  });

  auto* wake = app.add_subcommand("wake", "Wake the tablet's screen");
  wake->callback([&options] {
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    tablet.bridge->wake(tablet.serial);
  });

  auto* screenshot = app.add_subcommand("screenshot", "Save a PNG of the tablet's screen");
  screenshot->add_option("FILE", arguments->file, "Where to save it")->required();
  screenshot->callback([&options, arguments] {
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    // Checked here too so that the refusal reads as tap's and type's do.
    if (tablet.bridge->keyguardShowing(tablet.serial)) throw AdbError(lockScreenRefusal);
    writeFileAtomically(arguments->file, tablet.bridge->screenshot(tablet.serial));
  });

  auto* tap = app.add_subcommand("tap", "Tap the tablet's screen at a point");
  tap->add_option("X", arguments->x, "Pixels from the left")->required();
  tap->add_option("Y", arguments->y, "Pixels from the top")->required();
  tap->callback([&options, arguments] {
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    requireScreenForInput(*tablet.bridge, tablet.serial);
    tablet.bridge->tap(tablet.serial, arguments->x, arguments->y);
  });

  auto* type = app.add_subcommand("type", "Type text on the tablet (printable ASCII)");
  type->add_option("TEXT", arguments->text, "What to type")->required();
  type->callback([&options, arguments] {
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    requireScreenForInput(*tablet.bridge, tablet.serial);
    tablet.bridge->typeText(tablet.serial, arguments->text);
    keepInClipboardHistory(arguments->text, ClipboardHistory::Origin::typedOnLumivale);
  });

  auto* open = app.add_subcommand("open", "Open a web address on the tablet");
  open->add_option("URL", arguments->url, "The address")->required();
  open->callback([&options, arguments] {
    requireWebAddress(arguments->url);
    companion::ReadyTablet tablet = companion::requireReadyTablet(options.serial, options.command);
    tablet.bridge->openURL(tablet.serial, arguments->url);
  });
}

}  // namespace lumivale::cli
