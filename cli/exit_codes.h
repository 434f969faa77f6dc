#pragma once

#include <exception>

#include "core/error.h"

namespace lumivale::cli {

// What `lumivale` ends with, the same for every command.
enum ExitCode : int {
  exitSuccess = 0,
  exitFailure = 1,
  exitUsage = 2,          // the command line itself is wrong, or a value typed is not one it takes
  exitInterrupted = 130,  // Ctrl-C, as shells report a program ended by SIGINT
};

// A value the user typed that the command does not take, said as it stands.
class UsageError : public Error {
 public:
  using Error::Error;
};

// The exit code for a failure that ended a command.
ExitCode exitCodeFor(const std::exception& error);

}  // namespace lumivale::cli
