#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"
#include "core/settings/lumivale_config.h"

namespace lumivale::cli {

// `lumivale account ...`: sign up, sign in, status, sign out, and a JWT for scripts.
void addAccountCommands(CLI::App& app, GlobalOptions& options);

// A session belongs to its sign-in server: when the server's address changes, the
// session here is forgotten and the user told so.
void followSignInServerChange(const LumivaleConfig& before, const LumivaleConfig& after);

}  // namespace lumivale::cli
