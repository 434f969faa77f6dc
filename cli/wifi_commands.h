#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale wifi setup`: Wi-Fi for the tablet on the cable.
void addWifiCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
