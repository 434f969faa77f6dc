#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale clipboard get|set`: read or set the tablet's clipboard, the helper run once.
void addClipboardCommands(CLI::App& clipboard, GlobalOptions& options);

}  // namespace lumivale::cli
