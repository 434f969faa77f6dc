#pragma once

#include <memory>

#include "cli/cli_options.h"
#include "core/files/adb_files.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::cli {

// File operations on the ready tablet this command is for, with the bridge they run
// through (kept alive beside them).
struct TabletFiles {
  std::shared_ptr<AdbBridge> bridge;
  AdbFiles files;
};

TabletFiles openTabletFiles(const GlobalOptions& options);

}  // namespace lumivale::cli
