#include "cli/upkeep_commands.h"

#include <iostream>
#include <memory>

#include "companion/diagnostics_bundle.h"

namespace lumivale::cli {

void addUpkeepCommands(CLI::App& app, GlobalOptions& options) {
  auto* diagnostics = app.add_subcommand(
      "diagnostics", "Write a .tar.gz to attach to a support request, without secrets");
  auto file = std::make_shared<std::string>();
  diagnostics->add_option("FILE", *file,
                          "Where to write it (default: lumivale-diagnostics-DATE-TIME.tar.gz "
                          "in the current folder)");
  diagnostics->callback([&options, file] {
    std::string target = file->empty() ? companion::defaultDiagnosticsName() : *file;
    companion::writeDiagnostics(target, options.serial, options.command);
    std::cout << "Wrote " << target << ".\n";
  });
}

}  // namespace lumivale::cli
