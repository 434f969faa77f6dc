#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale profile list|apply NAME|restore|status`: the leave-the-desk profiles.
void addProfileCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
