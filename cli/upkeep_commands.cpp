#include "cli/upkeep_commands.h"

#include <unistd.h>

#include <iostream>
#include <memory>

#include <fmt/format.h>

#include "cli/exit_codes.h"
#include "companion/diagnostics_bundle.h"
#include "companion/program_removal.h"

namespace lumivale::cli {
namespace {

struct RemoveOptions {
  bool yes = false;
  bool keepTablet = false;
};

void printItems(const std::vector<ProgramFiles::Item>& items) {
  for (const auto& item : items)
    std::cout << fmt::format("  {}  ({})\n", item.path.string(), item.what);
}

void printSurvey(const companion::RemovalSurvey& survey) {
  if (!survey.onTablet.empty()) {
    std::cout << fmt::format("On the tablet ({}):\n", survey.tabletSerial.value_or(""));
    printItems(survey.onTablet);
  }
  if (!survey.onComputer.empty() || survey.signIn) {
    std::cout << "On this computer:\n";
    printItems(survey.onComputer);
    if (survey.signIn) std::cout << "  " << *survey.signIn << "\n";
  }
}

bool confirmed() {
  std::cerr << "Remove all of this? [y/N] ";
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

void removeCommand(const GlobalOptions& global, const RemoveOptions& options) {
  companion::ProgramRemoval removal(options.keepTablet, global.serial, global.command);
  const auto& survey = removal.survey();
  if (survey.tabletUnreached) std::cerr << "lumivale: " << *survey.tabletUnreached << "\n";
  if (survey.empty()) {
    std::cout << "There is nothing of Lumivale's to remove.\n";
    return;
  }
  printSurvey(survey);
  if (!options.yes) {
    if (isatty(STDIN_FILENO) != 1)
      throw UsageError(
          "nothing was removed: there is no terminal to ask on; run lumivale upkeep remove "
          "--yes to remove all of this");
    if (!confirmed()) {
      std::cout << "Nothing was removed.\n";
      return;
    }
  }
  auto report = removal.removeAll();
  for (const auto& notice : report.notices)
    std::cerr << "lumivale: " << notice << "\n";
  for (const auto& failure : report.failures)
    std::cerr << "lumivale: " << failure << "\n";
  std::cout << fmt::format("Removed {} item{}.\n", report.removed, report.removed == 1 ? "" : "s");
  if (!report.failures.empty()) throw ExitStatus{1};
}

}  // namespace

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

  auto* upkeep = app.add_subcommand("upkeep", "Remove the program and what it put on the tablet");
  upkeep->require_subcommand(1);
  auto removeOptions = std::make_shared<RemoveOptions>();
  auto* remove = upkeep->add_subcommand(
      "remove", "Remove everything Lumivale put on this computer and the tablet, after asking");
  remove->add_flag("-y,--yes", removeOptions->yes, "Do not ask");
  remove->add_flag("--keep-tablet", removeOptions->keepTablet, "Leave the tablet as it is");
  remove->callback([&options, removeOptions] { removeCommand(options, *removeOptions); });
}

}  // namespace lumivale::cli
