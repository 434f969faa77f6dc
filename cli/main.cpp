#include <iostream>

#include <CLI/CLI.hpp>

#include "cli/account_commands.h"
#include "cli/cli_options.h"
#include "cli/command_line.h"
#include "cli/config_commands.h"
#include "cli/device_commands.h"
#include "cli/exit_codes.h"
#include "cli/files_commands.h"
#include "cli/setting_commands.h"
#include "companion/worded_error.h"
#include "core/build_flavour.h"

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
  cli::addFilesCommands(app, options);
  cli::addAccountCommands(app, options);
  cli::addConfigCommands(app, options);
  cli::addHelpAndVersion(app, version);
  cli::addCommonOptions(app, options);

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
    std::cerr << "lumivale: " << companion::wordedMessage(error) << "\n";
    return cli::exitCodeFor(error);
  }
  return cli::exitSuccess;
}
