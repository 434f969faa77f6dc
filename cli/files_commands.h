#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale files ...`: list, inspect and change the tablet's files, and copy both ways.
void addFilesCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
