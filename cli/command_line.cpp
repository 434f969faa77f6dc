#include "cli/command_line.h"

#include <iostream>
#include <memory>

#include <fmt/format.h>

#include "cli/exit_codes.h"
#include "cli/nearest_word.h"
#include "core/settings/log.h"

namespace lumivale::cli {
namespace {

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
  auto found = const_cast<CLI::App&>(app).get_subcommands({});
  return {found.begin(), found.end()};
}

std::vector<std::string> subcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const auto* command : subcommandsOf(app))
    names.push_back(command->get_name());
  return names;
}

const CLI::App* subcommandNamed(const CLI::App& app, const std::string& word) {
  for (const auto* command : subcommandsOf(app))
    if (command->check_name(word)) return command;
  return nullptr;
}

// The option `name` ("--json", "-a") as `app` or a command above it takes it.
const CLI::Option* optionNamed(const CLI::App& app, const std::string& name) {
  for (const CLI::App* level = &app; level; level = level->get_parent())
    for (const auto* option : level->get_options())
      if (!option->get_positional() && option->check_name(name)) return option;
  return nullptr;
}

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* level = &app; level; level = level->get_parent())
    for (const auto* option : level->get_options()) {
      for (const auto& name : option->get_lnames())
        names.push_back("--" + name);
      for (const auto& name : option->get_snames())
        names.push_back("-" + name);
    }
  return names;
}

// "lumivale files ls".
std::string commandPath(const CLI::App& app) {
  std::string path = app.get_name();
  for (const CLI::App* level = app.get_parent(); level; level = level->get_parent())
    path = level->get_name() + " " + path;
  return path;
}

std::string commandList(const CLI::App& app) {
  return fmt::format("{}", fmt::join(subcommandNames(app), ", "));
}

void addCommonOptionsTo(CLI::App& command, GlobalOptions& options) {
  command.add_option("--serial", options.serial,
                     "The tablet to use for this command (an adb serial)");
  command.add_flag("-q,--quiet", options.quiet, "Print only results and errors");
  command.add_flag_function(
      "-v,--verbose", [](std::int64_t) { echoLogToStandardError(true); },
      "Also write the log's lines to standard error");
  for (auto* sub : command.get_subcommands({}))
    addCommonOptionsTo(*sub, options);
}

}  // namespace

void addCommonOptions(CLI::App& app, GlobalOptions& options) {
  addCommonOptionsTo(app, options);
}

void addHelpAndVersion(CLI::App& app, const std::string& version) {
  auto* help = app.add_subcommand("help", "Show the commands, or what one command takes");
  auto words = std::make_shared<std::vector<std::string>>();
  help->add_option("COMMAND", *words, "A command, as typed (for example: files push)");
  help->callback([&app, words] {
    const CLI::App* target = &app;
    for (const auto& word : *words) {
      const CLI::App* next = subcommandNamed(*target, word);
      if (!next) {
        std::string message =
            fmt::format("'{}' is not a command of {}.", word, commandPath(*target));
        if (auto meant = nearestWord(word, subcommandNames(*target)))
          message += fmt::format(" Did you mean {}?", *meant);
        throw UsageError(message);
      }
      target = next;
    }
    // help() would describe the command being run, which is this one.
    std::cout << target->get_formatter()->make_help(target, commandPath(*target),
                                                    CLI::AppFormatMode::Normal);
  });
  app.add_subcommand("version", "Print the program's version")->callback([version] {
    std::cout << version << "\n";
  });
}

std::string usageMessage(const CLI::App& app, const std::vector<std::string>& words,
                         const CLI::Error& error) {
  const CLI::App* current = &app;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--") break;
    if (word.size() > 1 && word[0] == '-') {
      const std::string name = word.substr(0, word.find('='));
      const CLI::Option* option = optionNamed(*current, name);
      if (!option) {
        std::string message =
            fmt::format("'{}' is not an option of {}.", name, commandPath(*current));
        if (auto meant = nearestWord(name, optionNames(*current)))
          return message + fmt::format(" Did you mean {}?", *meant);
        return message + fmt::format(" See {} --help.", commandPath(*current));
      }
      if (option->get_type_size() != 0 && name == word) ++i;  // its value follows
      continue;
    }
    if (const CLI::App* next = subcommandNamed(*current, word)) {
      current = next;
      continue;
    }
    // A word where a command is wanted: groups take no other words.
    if (!current->get_subcommands({}).empty()) {
      std::string message =
          fmt::format("'{}' is not a command of {}.", word, commandPath(*current));
      if (auto meant = nearestWord(word, subcommandNames(*current)))
        return message + fmt::format(" Did you mean {}?", *meant);
      return message + fmt::format(" Its commands: {}.", commandList(*current));
    }
  }
  if (!current->get_subcommands({}).empty())
    return fmt::format("{} needs a command: {}.", commandPath(*current), commandList(*current));
  return fmt::format("{} (see {} --help)", error.what(), commandPath(*current));
}

}  // namespace lumivale::cli
