#pragma once

#include "cli/cli_options.h"
#include "core/files/adb_files.h"

namespace lumivale::cli {

// File operations on the tablet this command is for.
AdbFiles openTabletFiles(const GlobalOptions& options);

}  // namespace lumivale::cli
