#include "cli/files_commands.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/files_remove_command.h"
#include "cli/json_shapes.h"
#include "cli/local_time.h"
#include "cli/progress_bar.h"
#include "companion/tablet_link.h"
#include "companion/worded_error.h"
#include "core/files/adb_files.h"
#include "core/files/local_items.h"
#include "core/files/remote_path.h"
#include "core/files/remote_sort.h"
#include "platform/quarantine.h"

namespace lumivale::cli {
namespace {

namespace fs = std::filesystem;

struct FilesOptions {
  std::string path;
  std::string second;
  bool all = false;
  std::string sort = "name";
  bool reverse = false;
  bool json = false;
  bool parents = false;
  std::optional<std::string> as;
  std::string ifExists = "ask";
  // A pull lands beside what the user already has, so by default it keeps both.
  std::string pullIfExists = "keep-both";
};

std::string shown(const std::string& path) {
  return RemotePath::escapedForDisplay(path);
}

std::string localTime(const std::optional<Timestamp>& when) {
  return when ? cli::localTime(*when) : std::string(16, ' ');
}

// The local times of a listing's entries, each second's worked out once: the items of a
// folder often share theirs, and each new one asks the time zone.
class ListedTimes {
 public:
  const std::string& of(const std::optional<Timestamp>& when) {
    std::optional<std::time_t> second;
    if (when) second = std::chrono::system_clock::to_time_t(*when);
    if (!filled_ || second != second_) {
      text_ = localTime(when);
      second_ = second;
      filled_ = true;
    }
    return text_;
  }

 private:
  bool filled_ = false;
  std::optional<std::time_t> second_;
  std::string text_;
};

char kindLetter(const RemoteEntry& entry) {
  switch (entry.kind) {
    case RemoteEntry::Kind::directory:
      return 'd';
    case RemoteEntry::Kind::file:
      return '-';
    case RemoteEntry::Kind::symlink:
      return 'l';
    case RemoteEntry::Kind::other:
      return '?';
  }
  return '?';
}

// One entry's line of `files ls`.
void appendEntry(std::string& out, const RemoteEntry& entry, ListedTimes& times) {
  // Appended piece by piece: a formatting call per line is most of a long listing's time.
  const std::string size =
      entry.isFolder() ? "-" : humanBytes(static_cast<std::uint64_t>(entry.size));
  constexpr std::size_t sizeWidth = 10;
  out += kindLetter(entry);
  out.append(1 + sizeWidth - std::min(size.size(), sizeWidth), ' ');
  out += size;
  out += "  ";
  out += times.of(entry.modified);
  out += "  ";
  RemotePath::appendForDisplay(out, entry.name);
  if (entry.isFolder()) out += '/';
  if (!entry.isOperable()) out += "  (name not read exactly; shown only)";
  out += '\n';
}

// One entry of a JSON list, one entry a line.
void appendJsonEntry(std::string& out, const RemoteEntry& entry, bool first) {
  out += first ? "\n  " : ",\n  ";
  appendJson(out, entry);
}

// The listing as `files ls` prints it. One thread: a line costs too little for a second
// thread, its start and its own allocations to pay for themselves.
std::string formattedListing(const std::vector<RemoteEntry>& entries, bool json) {
  // Room for every line up front: a long listing's text is never copied to grow.
  std::size_t room = 4;
  for (const auto& entry : entries)
    room += (json ? 110 + entry.path.size() : 48) + entry.name.size();
  std::string out;
  out.reserve(room);
  if (json) out += '[';
  ListedTimes times;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (json)
      appendJsonEntry(out, entries[i], i == 0);
    else
      appendEntry(out, entries[i], times);
  }
  if (json) out += entries.empty() ? "]\n" : "\n]\n";
  return out;
}

std::optional<CollisionPolicy> policyNamed(const std::string& text) {
  if (text == "ask") return CollisionPolicy::ask;
  if (text == "replace") return CollisionPolicy::replace;
  if (text == "keep-both") return CollisionPolicy::keepBoth;
  return std::nullopt;
}

// Asks on the terminal what to do about a taken name; absent means stop.
std::optional<CollisionPolicy> askAboutTakenName(const std::string& taken, std::string_view where) {
  if (isatty(STDIN_FILENO) != 1) return std::nullopt;
  std::cerr << fmt::format("'{}' already exists {}. Replace it, keep both, or cancel? [r/k/C] ",
                           taken, where);
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "r" || answer == "R") return CollisionPolicy::replace;
  if (answer == "k" || answer == "K") return CollisionPolicy::keepBoth;
  return std::nullopt;
}

CollisionPolicy chosenPolicy(const std::string& text) {
  auto policy = policyNamed(text);
  if (!policy)
    throw Error(
        fmt::format("'{}' is not a choice for --if-exists (ask, replace or keep-both)", text));
  return *policy;
}

// A local name beside `wanted` that nothing holds yet.
fs::path freeLocalName(const fs::path& wanted, bool isDirectory) {
  std::error_code error;
  if (!fs::exists(fs::symlink_status(wanted, error))) return wanted;
  std::set<std::string> names;
  const fs::path folder = wanted.has_parent_path() ? wanted.parent_path() : fs::path(".");
  for (const auto& item : fs::directory_iterator(folder, error))
    names.insert(item.path().filename().string());
  return folder / RemotePath::uniqueName(wanted.filename().string(), names, isDirectory, false);
}

void listCommand(const GlobalOptions& global, const FilesOptions& options) {
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  AdbFiles& files = tablet.files;
  auto key = RemoteSort::key(options.sort);
  if (!key)
    throw Error(fmt::format("'{}' is not an order (name, kind, size or modified)", options.sort));
  // The collator's library loads on this thread when the first name arrives: loading it on
  // another while the tablet answers costs more on two cores than it saves.
  auto listed = files.listForSorting(RemotePath::resolve(options.path), options.all);
  auto entries =
      RemoteSort::sorted(std::move(listed), *key, !options.reverse, RemoteSort::kindName);
  // Printed in one write, not ten thousand.
  const std::string out = formattedListing(entries, options.json);
  std::cout.write(out.data(), static_cast<std::streamsize>(out.size()));
}

void statCommand(const GlobalOptions& global, const FilesOptions& options) {
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  AdbFiles& files = tablet.files;
  const std::string path = RemotePath::resolve(options.path);
  auto entry = files.entry(path);
  if (!entry) throw FilesError::notFound(path);
  if (options.json) {
    std::cout << nlohmann::json(*entry).dump(2) << "\n";
    return;
  }
  std::cout << fmt::format("path      {}\nkind      {}\nsize      {} bytes\nmodified  {}\n",
                           shown(entry->path), RemoteSort::kindName(*entry), entry->size,
                           localTime(entry->modified));
}

void pushCommand(const GlobalOptions& global, const FilesOptions& options) {
  auto policy = chosenPolicy(options.ifExists);
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  const AdbFiles files = tablet.files;
  const fs::path local = options.path;
  const std::string folder = RemotePath::resolve(options.second);
  for (;;) {
    try {
      std::string placed;
      {
        ProgressBar bar(local.filename().string(), global.quiet);
        placed = companion::wordingFileErrors(
            "could not read", [&] { return files.push(local, folder, options.as, policy, &bar); });
      }
      std::cout << shown(placed) << "\n";
      return;
    } catch (const FilesError& error) {
      if (error.kind() != FilesError::Kind::exists || policy != CollisionPolicy::ask) throw;
      auto chosen = askAboutTakenName(shown(error.payload()), "on the tablet");
      if (!chosen) throw;
      policy = *chosen;
    }
  }
}

void pullCommand(const GlobalOptions& global, const FilesOptions& options) {
  auto policy = chosenPolicy(options.pullIfExists);
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  AdbFiles files = tablet.files;
  files.markQuarantine = platform::markQuarantine;
  const std::string path = RemotePath::resolve(options.path);
  auto entry = files.entry(path);
  if (!entry) throw FilesError::notFound(path);
  const std::string name = RemotePath::macSafeName(RemotePath::name(path));
  fs::path destination = companion::wordingFileErrors("could not look at", [&] {
    fs::path wanted = options.second.empty() ? fs::current_path() / name : fs::path(options.second);
    if (fs::is_directory(wanted)) wanted /= name;
    const fs::path folder = wanted.parent_path();
    if (!folder.empty() && !fs::exists(folder))
      throw Error(fmt::format("the folder {} does not exist on this computer", folder.string()));
    return wanted;
  });
  std::error_code error;
  if (policy == CollisionPolicy::ask && fs::exists(fs::symlink_status(destination, error))) {
    auto chosen = askAboutTakenName(destination.string(), "on this computer");
    if (!chosen)
      throw Error(fmt::format(
          "{} already exists on this computer; nothing was copied (choose with --if-exists "
          "replace or keep-both)",
          destination.string()));
    policy = *chosen;
  }
  if (policy == CollisionPolicy::keepBoth)
    destination = freeLocalName(destination, entry->isFolder());
  {
    ProgressBar bar(name, global.quiet);
    companion::wordingFileErrors("could not put the copy in", [&] {
      files.pull(path, destination, &bar, policy == CollisionPolicy::replace);
    });
  }
  std::cout << destination.string() << "\n";
}

// The folder typed, or without one every folder of the storage that holds leftovers.
std::vector<std::string> leftoverFolders(const AdbFiles& files, const std::string& typed) {
  if (!typed.empty()) return {RemotePath::resolve(typed)};
  return files.foldersWithLeftovers(RemotePath::resolve(""));
}

void cleanupCommand(const GlobalOptions& global, const FilesOptions& options) {
  using Does = CleanUpStep::Does;
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  AdbFiles::CleanUpReport report;
  for (const auto& folder : leftoverFolders(tablet.files, options.path)) {
    auto part = tablet.files.cleanUp(folder);
    report.done.insert(report.done.end(), part.done.begin(), part.done.end());
    report.kept.insert(report.kept.end(), part.kept.begin(), part.kept.end());
    report.failures.insert(report.failures.end(), part.failures.begin(), part.failures.end());
  }
  int restored = 0;
  for (const auto& step : report.done) {
    if (!step.kind) continue;  // a record nothing needs any more
    switch (step.does) {
      case Does::putBack:
      case Does::putUnderNewName:
        ++restored;
        std::cout << fmt::format("put back {} ({})\n", shown(step.to), step.sentence());
        break;
      default:
        std::cout << fmt::format("erased {}\n", step.sentence());
    }
  }
  for (const auto& step : report.kept) {
    if (step.kind) std::cout << fmt::format("kept {}\n", step.sentence());
  }
  const int erased = report.erased();
  std::cout << fmt::format("{} leftover{} erased, {} put back\n", erased, erased == 1 ? "" : "s",
                           restored);
  const fs::path pulls = options.second.empty() ? fs::current_path() : fs::path(options.second);
  if (const int swept = LocalItems::sweepScratch(pulls); swept > 0)
    std::cout << fmt::format("{} stopped pull{} removed from {}\n", swept, swept == 1 ? "" : "s",
                             pulls.string());
  if (!report.failures.empty()) throw Error(report.failures.front());
}

// Without -p a missing parent is the likely cause; the tablet's mkdir says it in its own words.
void makeDirectoryCommand(const GlobalOptions& global, const FilesOptions& options) {
  auto tablet = companion::openTabletFiles(global.serial, global.command);
  const std::string path = RemotePath::resolve(options.path);
  if (auto parent = RemotePath::parent(path); parent && !options.parents) {
    if (!tablet.files.entry(*parent))
      throw FilesError::refused(
          fmt::format("could not make {}: its folder {} does not exist (use -p to make it too)",
                      shown(path), shown(*parent)));
  }
  tablet.files.makeDirectory(path, options.parents);
}

void printAmount(const std::string& path, std::uint64_t bytes, std::string_view what, bool json) {
  if (json)
    std::cout << amountJson(path, bytes).dump(2) << "\n";
  else
    std::cout << fmt::format("{} {} ({} bytes)\n", humanBytes(bytes), what, bytes);
}

void addPathCommand(CLI::App& group, const char* name, const char* description,
                    FilesOptions& options, std::function<void()> run) {
  auto* command = group.add_subcommand(name, description);
  command->add_option("PATH", options.path, "A tablet path (relative paths are under /sdcard)")
      ->required();
  command->callback(std::move(run));
}

}  // namespace

void addFilesCommands(CLI::App& app, GlobalOptions& global) {
  auto* group = app.add_subcommand("files", "List, inspect and copy files on the tablet");
  group->require_subcommand(1);
  auto options = std::make_shared<FilesOptions>();
  auto& o = *options;

  auto* ls = group->add_subcommand("ls", "List a folder on the tablet");
  ls->add_option("PATH", o.path, "The folder (default /sdcard)");
  ls->add_flag("-a,--all", o.all, "Show hidden items too");
  ls->add_option("--sort", o.sort, "name, kind, size or modified")
      ->check(CLI::IsMember({"name", "kind", "size", "modified"}));
  ls->add_flag("--reverse", o.reverse, "Reverse the order");
  ls->add_flag("--json", o.json, "Print JSON");
  ls->callback([&global, options] { listCommand(global, *options); });

  addPathCommand(*group, "stat", "Describe one item", o,
                 [&global, options] { statCommand(global, *options); });
  group->get_subcommand("stat")->add_flag("--json", o.json, "Print JSON");

  auto* mkdir = group->add_subcommand("mkdir", "Make a folder");
  mkdir->add_option("PATH", o.path, "The new folder")->required();
  mkdir->add_flag("-p,--parents", o.parents, "Make missing parent folders too");
  mkdir->callback([&global, options] { makeDirectoryCommand(global, *options); });

  auto* mv = group->add_subcommand("mv", "Rename an item in its folder");
  mv->add_option("PATH", o.path, "The item")->required();
  mv->add_option("NEWNAME", o.second, "Its new name")->required();
  mv->callback([&global, options] {
    std::cout << shown(companion::openTabletFiles(global.serial, global.command)
                           .files.rename(RemotePath::resolve(options->path), options->second))
              << "\n";
  });

  addRemoveCommand(*group, global);

  auto* push =
      group->add_subcommand("push", "Copy a file or folder from this computer to the tablet");
  push->add_option("LOCAL", o.path, "The file or folder here")->required();
  push->add_option("DIR", o.second, "The tablet folder (default /sdcard)");
  push->add_option("--as", o.as, "The name on the tablet");
  push->add_option("--if-exists", o.ifExists, "ask, replace or keep-both")
      ->check(CLI::IsMember({"ask", "replace", "keep-both"}));
  push->callback([&global, options] { pushCommand(global, *options); });

  auto* pull =
      group->add_subcommand("pull", "Copy a file or folder from the tablet to this computer");
  pull->add_option("PATH", o.path, "The tablet item")->required();
  pull->add_option("DEST", o.second, "Where to put it");
  pull->add_option("--if-exists", o.pullIfExists, "ask, replace or keep-both (default keep-both)")
      ->check(CLI::IsMember({"ask", "replace", "keep-both"}));
  pull->callback([&global, options] { pullCommand(global, *options); });

  auto* free = group->add_subcommand("free", "Free space on the tablet");
  free->add_option("PATH", o.path, "A path on the storage to measure (default /sdcard)");
  free->callback([&global, options] {
    const std::string path = RemotePath::resolve(options->path);
    auto bytes = companion::openTabletFiles(global.serial, global.command).files.tabletFree(path);
    if (!bytes)
      throw Error(fmt::format("the tablet did not say how much space {} has free", shown(path)));
    printAmount(path, *bytes, "free", options->json);
  });

  addPathCommand(*group, "du", "Space an item uses", o, [&global, options] {
    const std::string path = RemotePath::resolve(options->path);
    printAmount(path, companion::openTabletFiles(global.serial, global.command).files.usage(path),
                "used", options->json);
  });

  addPathCommand(*group, "hash", "SHA-256 of a tablet file", o, [&global, options] {
    const std::string path = RemotePath::resolve(options->path);
    auto tablet = companion::openTabletFiles(global.serial, global.command);
    auto entry = tablet.files.entry(path);
    if (!entry) throw FilesError::notFound(path);
    if (entry->isFolder())
      throw Error(fmt::format("'{}' is a folder; only a file can be hashed", shown(path)));
    auto digest = tablet.files.sha256(path);
    if (!digest) throw Error("the tablet cannot hash files (it has no sha256sum)");
    if (options->json)
      std::cout << nlohmann::json{{"path", path}, {"sha256", *digest}}.dump(2) << "\n";
    else
      std::cout << *digest << "  " << shown(path) << "\n";
  });

  auto* leftovers = group->add_subcommand("leftovers", "Staged copies that operations left behind");
  leftovers->add_option("DIR", o.path, "The folder (default: all of /sdcard)");
  leftovers->callback([&global, options] {
    auto tablet = companion::openTabletFiles(global.serial, global.command);
    std::vector<LeftoverItem> found;
    for (const auto& folder : leftoverFolders(tablet.files, options->path)) {
      auto inFolder = tablet.files.leftovers(folder);
      found.insert(found.end(), inFolder.begin(), inFolder.end());
    }
    if (options->json) {
      std::cout << leftoversJson(found).dump(2) << "\n";
      return;
    }
    for (const auto& item : found) {
      const std::string owner =
          item.belongsTo ? fmt::format("belongs to '{}'", shown(*item.belongsTo)) : "owner unknown";
      std::cout << fmt::format("{}  {}  {}\n  {}\n", rawValue(item.kind), shown(item.entry.path),
                               owner, item.about);
    }
  });

  for (const char* name : {"free", "du", "hash", "leftovers"})
    group->get_subcommand(name)->add_flag("--json", o.json, "Print JSON");

  auto* cleanup = group->add_subcommand(
      "cleanup", "Put the leftovers of a folder back under their names, or erase them");
  cleanup->add_option("DIR", o.path, "The folder (default: all of /sdcard)");
  cleanup->add_option("--pulls-in", o.second,
                      "Also remove stopped pulls' scratch folders here (default: this folder)");
  cleanup->callback([&global, options] { cleanupCommand(global, *options); });
}

}  // namespace lumivale::cli
