#include <iostream>
#include <memory>
#include <set>

#include <CLI/CLI.hpp>

#include "cli/account_commands.h"
#include "cli/cli_options.h"
#include "cli/clipboard_commands.h"
#include "cli/clipboard_history_commands.h"
#include "cli/command_line.h"
#include "cli/config_commands.h"
#include "cli/device_commands.h"
#include "cli/exit_codes.h"
#include "cli/files_commands.h"
#include "cli/folder_commands.h"
#include "cli/interrupt_cancel.h"
#include "cli/profile_commands.h"
#include "cli/setting_commands.h"
#include "cli/upkeep_commands.h"
#include "cli/wifi_commands.h"
#include "companion/worded_error.h"
#include "core/build_flavour.h"
#include "core/cancelled.h"

namespace {

// The commands that work on a tablet or download: they run under the command token, so
// an interrupt stops their adb run or transfer at once instead of ending the program
// around it.
bool worksOnTablet(const CLI::App& app) {
  static const std::set<std::string> tabletCommands{
      "devices", "use",     "status",    "info",    "wake",   "screenshot",
      "tap",     "type",    "open",      "setting", "warmth", "brightness",
      "files",   "profile", "clipboard", "tools",   "wifi",   "folder"};
  auto chosen = app.get_subcommands();
  return !chosen.empty() && tabletCommands.contains(chosen.front()->get_name());
}

}  // namespace

int main(int argc, char** argv) {
  using namespace lumivale;
  CLI::App app{"The desktop companion for the LV-1 tablet.", "lumivale"};
  const std::string version = std::string("lumivale ") + programVersion;
  app.set_version_flag("--version", version);
  app.require_subcommand(1);
  app.footer("Exit status: 0 success, 1 failure, 2 usage error, 130 interrupted.");
  cli::GlobalOptions options;
  cli::addDeviceCommands(app, options);
  cli::addSettingCommands(app, options);
  cli::addProfileCommands(app, options);
  cli::addFilesCommands(app, options);
  cli::addFolderCommands(app, options);
  auto* clipboard =
      app.add_subcommand("clipboard", "The clipboard shared with the tablet, and its history");
  clipboard->require_subcommand(1);
  cli::addClipboardCommands(*clipboard, options);
  cli::addClipboardHistoryCommands(*clipboard, options);
  cli::addWifiCommands(app, options);
  cli::addAccountCommands(app, options);
  cli::addConfigCommands(app, options);
  cli::addUpkeepCommands(app, options);
  cli::addHelpAndVersion(app, version);
  cli::addCommonOptions(app, options);
  // Made once the command is known and before it runs; ends with main.
  std::unique_ptr<cli::InterruptCancel> interrupt;
  app.parse_complete_callback([&] {
    if (worksOnTablet(app)) interrupt = std::make_unique<cli::InterruptCancel>(options.command);
  });

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    std::cerr << "lumivale: "
              << cli::usageMessage(app, std::vector<std::string>(argv + 1, argv + argc), error)
              << "\n";
    return cli::exitUsage;
  } catch (const cli::ExitStatus& exit) {
    return exit.code;
  } catch (const std::exception& error) {
    // However an interrupted command ended, it ended because it was interrupted; a cancel
    // may also say what it left behind.
    if (options.interrupted() || (interrupt && interrupt->interrupted())) {
      const auto* cancelled = dynamic_cast<const Cancelled*>(&error);
      std::cerr << "lumivale: " << (cancelled ? cancelled->message() : Cancelled().message())
                << "\n";
      return cli::exitInterrupted;
    }
    std::cerr << "lumivale: " << companion::wordedMessage(error) << "\n";
    return cli::exitCodeFor(error);
  }
  return cli::exitSuccess;
}
