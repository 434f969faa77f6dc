#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

namespace lumivale::cli {

// Gives every command, the groups included, --serial, -q/--quiet and -v/--verbose, so
// they work anywhere on the line and show in each command's help.
void addCommonOptions(CLI::App& app, GlobalOptions& options);

// `lumivale help [COMMAND...]` and `lumivale version`, as people type them.
void addHelpAndVersion(CLI::App& app, const std::string& version);

// What to tell the user about a command line the parser refused: the unknown word
// with the nearest command or option, the commands of a group run bare, or the
// parser's own sentence. `words` are the arguments after the program's name.
std::string usageMessage(const CLI::App& app, const std::vector<std::string>& words,
                         const CLI::Error& error);

}  // namespace lumivale::cli
