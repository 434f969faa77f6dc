#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale devices|use|status|info|wake|screenshot|tap|type|open|tools`: finding the
// tablet, choosing it, and the small set of things done to it directly.
void addDeviceCommands(CLI::App& app, GlobalOptions& options);

// The groups that make up the above, one file each.
void addChoiceCommands(CLI::App& app, GlobalOptions& options);
void addTabletCommands(CLI::App& app, GlobalOptions& options);
void addToolsCommand(CLI::App& app, GlobalOptions& options);
void addToolsCopyCommands(CLI::App& tools, GlobalOptions& options);

}  // namespace lumivale::cli
