#include "cli/folder_commands.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/local_time.h"
#include "cli/progress_bar.h"
#include "companion/app_settings_store.h"
#include "companion/reading_folder_settings.h"
#include "companion/reading_folder_watching.h"
#include "companion/tablet_link.h"
#include "core/files/reading-folder/folder_choice.h"
#include "core/files/reading-folder/reading_folder_store.h"
#include "core/files/reading-folder/reading_folder_sync.h"
#include "core/files/reading-folder/set_aside_journal.h"
#include "core/files/remote_path.h"
#include "core/settings/config_store.h"

namespace lumivale::cli {
namespace {

namespace fs = std::filesystem;
using Plan = ReadingFolderPlan;
using nlohmann::json;

struct FolderOptions {
  std::string path;
  std::optional<std::string> tabletFolder;
  std::optional<std::string> removeDeleted;
  bool json = false;
};

fs::path homeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  const passwd* user = ::getpwuid(::getuid());
  return user != nullptr ? fs::path(user->pw_dir) : fs::path("/");
}

// JSON text where a computer name may hold bytes that are not UTF-8: those are shown as
// the replacement character.
std::string dumped(const json& value) {
  return value.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string shown(const std::string& path) {
  return RemotePath::escapedForDisplay(path);
}

json actionJson(const Plan::Action& action) {
  return std::visit(
      [](const auto& step) -> json {
        using Step = std::decay_t<decltype(step)>;
        if constexpr (std::is_same_v<Step, Plan::RenameCase>) {
          return {{"action", "renameCase"},
                  {"from", step.from},
                  {"to", step.to},
                  {"mac", step.mac ? json(*step.mac) : json(nullptr)}};
        } else if constexpr (std::is_same_v<Step, Plan::Remove>) {
          return {{"action", "remove"}, {"mac", step.mac}, {"at", step.at}};
        } else if constexpr (std::is_same_v<Step, Plan::MakeFolder>) {
          return {{"action", "makeFolder"}, {"path", step.path}};
        } else if constexpr (std::is_same_v<Step, Plan::Copy>) {
          return {{"action", "copy"},
                  {"mac", step.mac},
                  {"to", step.to},
                  {"replacing", step.replacing}};
        } else if constexpr (std::is_same_v<Step, Plan::KeepBoth>) {
          return {
              {"action", "keepBoth"}, {"mac", step.mac}, {"beside", step.beside}, {"as", step.as}};
        } else if constexpr (std::is_same_v<Step, Plan::Adopt>) {
          return {{"action", "adopt"}, {"mac", step.mac}, {"at", step.at}};
        } else {
          return {{"action", "removeFolder"}, {"path", step.path}};
        }
      },
      action);
}

// One line of a plan or of what a run did; tablet paths are relative to the tablet folder.
std::string actionLine(const Plan::Action& action) {
  const companion::ReadingFolderStepText text = companion::describeStep(action);
  return fmt::format("{:<10} {}", text.verb, text.detail);
}

json actionsJson(const std::vector<Plan::Action>& actions) {
  json list = json::array();
  for (const Plan::Action& action : actions)
    list.push_back(actionJson(action));
  return list;
}

json notesJson(const std::vector<ReadingFolderNote>& notes) {
  json list = json::array();
  for (const ReadingFolderNote& note : notes)
    list.push_back({{"path", note.path}, {"sentence", note.sentence}});
  return list;
}

void printNotes(const std::vector<ReadingFolderNote>& notes, std::string_view label) {
  for (const ReadingFolderNote& note : notes) {
    if (note.path.empty()) {
      std::cout << fmt::format("{}: {}\n", label, note.sentence);
    } else {
      std::cout << fmt::format("{}: {}: {}\n", label, shown(note.path), note.sentence);
    }
  }
}

// What a run did: its steps, notes, failures and counts.
void printSummary(const ReadingFolderSummary& summary) {
  for (const Plan::Action& action : summary.done)
    std::cout << actionLine(action) << "\n";
  printNotes(summary.notes, "note");
  printNotes(summary.failures, "failed");
  std::cout << companion::summaryLine(summary) << "\n";
}

// The run's settings, refused when no folder is chosen yet.
struct Chosen {
  companion::AppSettings settings;
  fs::path macFolder;
};
Chosen chosenFolder() {
  Chosen chosen{companion::AppSettingsStore::standard().load(), {}};
  if (!chosen.settings.readingFolderPath) {
    throw Error("no reading folder is chosen yet; choose one with lumivale folder choose PATH");
  }
  chosen.macFolder = *chosen.settings.readingFolderPath;
  return chosen;
}

void chooseCommand(const FolderOptions& options) {
  const fs::path macFolder = ReadingFolderChoice::macFolder(options.path, homeFolder());
  std::optional<std::string> tabletFolder;
  if (options.tabletFolder) {
    tabletFolder = ReadingFolderChoice::tabletFolder(RemotePath::resolve(*options.tabletFolder));
  }
  const auto settings = companion::AppSettingsStore::standard().update([&](auto& settings) {
    settings.readingFolderPath = macFolder;
    if (tabletFolder) settings.readingFolderTabletFolder = tabletFolder;
    if (options.removeDeleted) settings.readingFolderRemoveDeleted = *options.removeDeleted == "on";
  });
  std::cout << fmt::format(
      "{} is copied to {} on the tablet; files deleted here are {}\n", macFolder.string(),
      shown(companion::readingFolderTabletFolder(settings)),
      settings.readingFolderRemoveDeleted ? "removed there too" : "kept there");
}

void planCommand(const GlobalOptions& global, const FolderOptions& options) {
  const Chosen chosen = chosenFolder();
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  const Plan plan = ReadingFolderSync::preview(
      tablet.files, companion::readingFolderSyncOptions(chosen.settings, tablet.tablet));
  if (options.json) {
    std::cout << dumped({{"actions", actionsJson(plan.actions)},
                         {"notes", notesJson(plan.notes)},
                         {"records", plan.bookkeeping.size()},
                         {"unchanged", plan.unchanged},
                         {"held", plan.held}});
    return;
  }
  for (const Plan::Action& action : plan.actions)
    std::cout << actionLine(action) << "\n";
  printNotes(plan.notes, "note");
  std::cout << fmt::format("{} to do, {} unchanged, {} held back\n", plan.actions.size(),
                           plan.unchanged, plan.held);
}

// The run's progress as one bar of bytes on the terminal.
class SyncBar : public ReadingFolderSyncObserver {
 public:
  explicit SyncBar(bool quiet) : bar_("Reading folder", quiet) {}
  void notify(const ReadingFolderSyncEvent& event) override {
    if (!event.finished) bar_.notify({event.bytesDone, event.bytes});
  }

 private:
  ProgressBar bar_;
};

void syncCommand(const GlobalOptions& global, const FolderOptions& options) {
  const Chosen chosen = chosenFolder();
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  ReadingFolderSummary summary;
  {
    SyncBar bar(global.quiet || options.json);
    summary = ReadingFolderSync::run(
        tablet.files, companion::readingFolderSyncOptions(chosen.settings, tablet.tablet), &bar);
  }
  if (options.json) {
    std::cout << dumped({{"done", actionsJson(summary.done)},
                         {"copied", summary.copied},
                         {"replaced", summary.replaced},
                         {"keptBoth", summary.keptBoth},
                         {"removed", summary.removed},
                         {"renamed", summary.renamed},
                         {"foldersMade", summary.foldersMade},
                         {"foldersRemoved", summary.foldersRemoved},
                         {"unchanged", summary.unchanged},
                         {"held", summary.held},
                         {"notes", notesJson(summary.notes)},
                         {"failures", notesJson(summary.failures)}});
  } else {
    printSummary(summary);
  }
  if (!summary.failures.empty()) throw ExitStatus{1};
}

// What a watch does, a line or a few for each thing, as it happens.
class WatchPrinter : public ReadingFolderWatchObserver {
 public:
  void notify(const ReadingFolderWatchEvent& event) override {
    using Kind = ReadingFolderWatchEvent::Kind;
    if (event.kind == Kind::finished)
      printSummary(*event.summary);
    else if (event.kind == Kind::started)
      std::cout << fmt::format("{} at {}\n", companion::watchEventLine(event),
                               localTime(std::chrono::system_clock::now()));
    else
      std::cout << companion::watchEventLine(event) << "\n";
    std::cout.flush();
  }
};

void watchCommand(const GlobalOptions& global) {
  const Chosen chosen = chosenFolder();
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  WatchPrinter printer;
  companion::watchReadingFolder(*tablet.bridge, tablet.files,
                                companion::readingFolderSyncOptions(chosen.settings, tablet.tablet),
                                chosen.macFolder, printer, global.command, [&chosen] {
                                  std::cout << fmt::format(
                                      "watching {} for changes, and the tablet; Ctrl-C stops\n",
                                      chosen.macFolder.string());
                                  std::cout.flush();
                                });
}

// Each tablet's record of the chosen folder, read from the records alone.
void statusCommand() {
  const Chosen chosen = chosenFolder();
  const std::string tabletFolder = companion::readingFolderTabletFolder(chosen.settings);
  std::cout << fmt::format("folder         {}\ntablet folder  {}\nremoval        {}\n",
                           chosen.macFolder.string(), shown(tabletFolder),
                           chosen.settings.readingFolderRemoveDeleted ? "on" : "off");
  const fs::path settings = ConfigStore::directory();
  std::error_code error;
  for (const auto& item : fs::directory_iterator(ReadingFolderStore::directory(settings), error)) {
    const std::string name = item.path().filename().string();
    if (!name.ends_with(".json") || name.ends_with(".set-aside.json")) continue;
    std::string serial;
    try {
      serial = json::parse(std::ifstream(item.path())).at("serial").get<std::string>();
    } catch (const std::exception&) {
      continue;  // not a record this program can read
    }
    const auto file = ReadingFolderStore::load(settings, serial);
    for (const ReadingFolderManifest& pair : file.pairs) {
      if (pair.macFolder != chosen.macFolder.string() ||
          ReadingFolderStore::tabletFolderKey(pair.tabletFolder) !=
              ReadingFolderStore::tabletFolderKey(tabletFolder)) {
        continue;
      }
      const std::string when =
          pair.updatedAt ? localTime(std::chrono::system_clock::time_point(
                               std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                   std::chrono::duration<double>(*pair.updatedAt))))
                         : "never";
      std::cout << fmt::format("tablet {}: {} files copied, last synced {}\n", serial,
                               pair.files.size(), when);
    }
    if (!ReadingFolderStore::SetAsideFile::load(settings, serial).empty()) {
      std::cout << fmt::format("tablet {}: a stopped sync is finished by the next one\n", serial);
    }
  }
}

}  // namespace

void addFolderCommands(CLI::App& app, GlobalOptions& global) {
  auto* group = app.add_subcommand("folder", "The Reading folder, kept copied to the tablet");
  group->require_subcommand(1);
  auto options = std::make_shared<FolderOptions>();

  auto* choose = group->add_subcommand("choose", "Choose the folder to keep copied");
  choose->add_option("PATH", options->path, "A folder on this computer")->required();
  choose->add_option("--tablet-folder", options->tabletFolder,
                     "Where it goes on the tablet (default /sdcard/Documents/From Mac)");
  choose
      ->add_option("--remove-deleted", options->removeDeleted,
                   "on: a file deleted here is removed from the tablet too, when unchanged there")
      ->check(CLI::IsMember({"on", "off"}));
  choose->callback([options] { chooseCommand(*options); });

  auto* plan = group->add_subcommand("plan", "What the next sync would do; nothing is changed");
  plan->add_flag("--json", options->json, "Print JSON");
  plan->callback([&global, options] { planCommand(global, *options); });

  auto* sync = group->add_subcommand("sync", "Copy the folder's changes to the tablet now");
  sync->add_flag("--json", options->json, "Print JSON");
  sync->callback([&global, options] { syncCommand(global, *options); });

  group
      ->add_subcommand("watch",
                       "Keep the tablet up to date: sync after every change here, and when the "
                       "tablet comes back, until Ctrl-C")
      ->callback([&global] { watchCommand(global); });

  group->add_subcommand("status", "The chosen folder and what each tablet holds of it")
      ->callback([] { statusCommand(); });
}

}  // namespace lumivale::cli
