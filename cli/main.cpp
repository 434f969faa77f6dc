#include <iostream>

#include <CLI/CLI.hpp>

#include "cli/account_commands.h"
#include "cli/cli_options.h"
#include "cli/config_commands.h"
#include "cli/device_commands.h"
#include "cli/files_commands.h"
#include "cli/setting_commands.h"
#include "companion/worded_error.h"
#include "core/build_flavour.h"

int main(int argc, char** argv) {
  using namespace lumivale;
  CLI::App app{"The desktop companion for the LV-1 tablet.", "lumivale"};
  app.set_version_flag("--version", std::string("lumivale ") + programVersion);
  app.require_subcommand(1);
  cli::GlobalOptions options;
  app.add_option("--serial", options.serial, "The tablet to use for this command (an adb serial)");
  cli::addConfigCommands(app, options);
  cli::addDeviceCommands(app, options);
  cli::addAccountCommands(app, options);
  cli::addFilesCommands(app, options);
  cli::addSettingCommands(app, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    int code = app.exit(error);
    return code == 0 ? 0 : 2;
  } catch (const cli::ExitStatus& exit) {
    return exit.code;
  } catch (const std::exception& error) {
    std::cerr << "lumivale: " << companion::wordedMessage(error) << "\n";
    return 1;
  }
  return 0;
}
