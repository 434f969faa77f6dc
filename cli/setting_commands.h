#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale setting ...`, and the shortcuts `lumivale warmth [N]` and `lumivale brightness [N]`.
void addSettingCommands(CLI::App& app, GlobalOptions& options);

}  // namespace lumivale::cli
