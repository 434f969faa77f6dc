#pragma once

#include <optional>
#include <string>

#include "core/stop_token.h"

namespace lumivale::cli {

// Options every command may read, set before any command runs.
struct GlobalOptions {
  std::optional<std::string> serial;  // --serial: the tablet for this one command
  bool quiet = false;                 // -q: results and errors only
  // What every tablet command runs under; Ctrl-C or SIGTERM cancels it (and nothing else
  // does), stopping the adb run under way.
  StopToken command;

  bool interrupted() const { return command.isCancelled(); }
};

// Thrown by a command that ends with a status other than success without an error
// message of its own (for example `status` on a tablet that is not ready).
struct ExitStatus {
  int code;
};

}  // namespace lumivale::cli
