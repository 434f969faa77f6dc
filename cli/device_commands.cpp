#include "cli/device_commands.h"

namespace lumivale::cli {

void addDeviceCommands(CLI::App& app, GlobalOptions& options) {
  addChoiceCommands(app, options);
  addTabletCommands(app, options);
  addToolsCommand(app, options);
}

}  // namespace lumivale::cli
