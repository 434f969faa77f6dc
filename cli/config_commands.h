#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale config ...`: where the settings file is, what it holds, and changes to it.
void addConfigCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
