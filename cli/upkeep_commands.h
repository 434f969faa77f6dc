#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale diagnostics [FILE]` and `lumivale upkeep remove`.
void addUpkeepCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
