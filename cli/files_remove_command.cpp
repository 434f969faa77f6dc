#include "cli/files_remove_command.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include <fmt/format.h>

#include "cli/progress_bar.h"
#include "companion/tablet_link.h"
#include "core/files/adb_files.h"
#include "core/files/remote_path.h"

namespace lumivale::cli {
namespace {

constexpr Seconds countTimeout{120};

struct RemoveOptions {
  std::vector<std::string> paths;
  bool recursive = false;
  bool yes = false;
};

struct Doomed {
  std::string path;
  bool folderWithContents = false;
};

std::string shown(const std::string& path) {
  return RemotePath::escapedForDisplay(path);
}

// Files under a folder, counted by the tablet: one NUL per name, whatever the names hold.
std::size_t filesInside(const AdbFiles& files, const std::string& folder) {
  auto found = files.check({"find", folder, "-type", "f", "-print0"},
                           "count the files in " + shown(folder), countTimeout);
  return static_cast<std::size_t>(std::count(found.output.begin(), found.output.end(), '\0'));
}

bool confirmed(const AdbFiles& files, const Doomed& item) {
  const std::size_t count = filesInside(files, item.path);
  std::cerr << fmt::format("Remove {} and all it holds ({} file{}, {})? [y/N] ", shown(item.path),
                           count, count == 1 ? "" : "s", humanBytes(files.usage(item.path)));
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

void removeCommand(const GlobalOptions& global, const RemoveOptions& options) {
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  const AdbFiles& files = tablet.files;
  // Every path is checked before anything goes, so one refusal removes nothing.
  std::vector<Doomed> doomed;
  for (const auto& typed : options.paths) {
    const std::string path = RemotePath::resolve(typed);
    auto entry = files.entry(path);
    if (!entry) throw FilesError::notFound(path);
    Doomed item{path, false};
    if (entry->isFolder()) item.folderWithContents = !files.list(path, true).empty();
    if (item.folderWithContents && !options.recursive)
      throw Error(fmt::format(
          "'{}' is a folder with items in it; use -r to remove it with all it holds", shown(path)));
    doomed.push_back(item);
  }
  const bool ask = !options.yes && isatty(STDIN_FILENO) == 1;
  for (const auto& item : doomed) {
    if (ask && item.folderWithContents && !confirmed(files, item)) {
      std::cerr << fmt::format("Kept {}.\n", shown(item.path));
      continue;
    }
    files.remove(item.path);
    std::cout << fmt::format("removed {}\n", shown(item.path));
  }
}

}  // namespace

void addRemoveCommand(CLI::App& group, GlobalOptions& global) {
  auto options = std::make_shared<RemoveOptions>();
  auto* rm = group.add_subcommand("rm", "Delete files, and folders with -r");
  rm->add_option("PATH", options->paths, "Tablet paths (relative paths are under /sdcard)")
      ->required();
  rm->add_flag("-r,--recursive", options->recursive, "Remove folders with all they hold");
  rm->add_flag("-y,--yes", options->yes, "Do not ask, even on a terminal");
  rm->callback([&global, options] { removeCommand(global, *options); });
}

}  // namespace lumivale::cli
