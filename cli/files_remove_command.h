#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale files rm PATH... [-r] [--yes]`: like rm, a folder with contents needs -r,
// and on a terminal what would go is said and asked about first.
void addRemoveCommand(CLI::App& group, GlobalOptions& global);

}  // namespace lumivale::cli
