#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// `lumivale clipboard history [--json]`, `history remove N`, `history clear` and
// `history keep on|off`, under the `clipboard` group: the texts that went between the
// computer and the tablet, as kept between runs.
void addClipboardHistoryCommands(CLI::App& clipboard, GlobalOptions& options);

}  // namespace lumivale::cli
