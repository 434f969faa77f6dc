#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale folder ...`: choose the Reading folder, preview its plan, sync it, and say how
// it stands.
void addFolderCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
