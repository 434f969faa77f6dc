#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale account ...`: sign up, sign in, status, sign out, and a JWT for scripts.
void addAccountCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
