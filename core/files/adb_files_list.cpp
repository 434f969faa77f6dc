#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "core/build_flavour.h"
#include "core/checked_number.h"
#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"

namespace lumivale {

using namespace files_detail;
using RemoteListing::Format;

namespace {

constexpr std::string_view statFormat = "%f|%s|%Y|%n";

std::optional<Format> forcedFormat() {
  if (!developmentHooks(buildFlavour)) return std::nullopt;
  const char* value = std::getenv("LUMIVALE_FILES_LIST_FORMAT");
  if (!value || !*value) return std::nullopt;
  return RemoteListing::format(value);
}

// The tablet's offset from UTC ("+0130"), which `ls` dates are written in.
std::chrono::seconds utcOffset(std::string_view text) {
  if (text.size() < 5 || (text[0] != '+' && text[0] != '-')) return {};
  auto hours = CheckedNumber::parse<unsigned>(text.substr(1, 2));
  auto minutes = CheckedNumber::parse<unsigned>(text.substr(3, 2));
  if (!hours || !minutes) return {};
  auto offset = std::chrono::hours(*hours) + std::chrono::minutes(*minutes);
  return text[0] == '-' ? -offset : std::chrono::seconds(offset);
}

FilesError formatFailed(Format format, std::string_view folder) {
  return FilesError::refused(fmt::format("the {} listing of {} did not work",
                                         RemoteListing::rawValue(format), shown(folder)));
}

}  // namespace

KeyedEntries AdbFiles::listAs(Format format, const std::string& folder, bool withNameKeys) const {
  const std::string dir = folder + "/";
  switch (format) {
    case Format::findPrintf: {
      // Read while it arrives: a long listing is mostly parsed by the time it ends.
      RemoteListing::FindPrintfReader reader(folder, folder, withNameKeys);
      auto result = execReading(
          {"find", dir, "-mindepth", "1", "-maxdepth", "1", "-printf", "%M|%s|%T@|", "-print0"},
          listTimeout, reader);
      const bool anyOutput = reader.closedARecord() || !result.output.empty();
      auto entries = std::move(reader).finish(result.output);
      // A find without -printf may still say nothing and end well on an empty folder;
      // output it could not read means the format does not work here.
      if (result.status != 0 || (entries.entries.empty() && anyOutput))
        throw formatFailed(format, folder);
      return entries;
    }
    case Format::findStat: {
      auto found =
          exec({"find", dir, "-mindepth", "1", "-maxdepth", "1", "-print0"}, listTimeout, false);
      if (found.status != 0) throw formatFailed(format, folder);
      auto names = RemoteListing::parseNames(found.output, folder);
      std::vector<std::string> paths;
      for (const auto& child : names) {
        if (RemoteListing::statable(child.name)) paths.push_back(dir + child.name);
      }
      std::map<std::string, RemoteListing::StatInfo> stat;
      for (const auto& batch : batches(paths, batchBudget)) {
        std::vector<std::string> command{"stat", "-c", std::string(statFormat), "--"};
        command.insert(command.end(), batch.begin(), batch.end());
        // An item that went away between find and stat fails its line only.
        auto lines = exec(command, listTimeout, false);
        stat.merge(RemoteListing::parseStatLines(lines.output));
      }
      return {RemoteListing::joinNamesAndStat(stat, names, folder), {}};
    }
    case Format::ls: {
      auto result = exec({"ls", "-la", dir}, listTimeout, false);
      if (result.status != 0) throw formatFailed(format, folder);
      auto zone = exec({"date", "+%z"}, stepTimeout, false);
      return {RemoteListing::parseLs(
                  result.output, folder, std::chrono::system_clock::now(),
                  zone.status == 0 ? utcOffset(zone.output) : std::chrono::seconds(0)),
              {}};
    }
  }
  throw formatFailed(format, folder);
}

std::vector<RemoteEntry> AdbFiles::list(const std::string& path, bool includeHidden) const {
  return listing(path, includeHidden, false).entries;
}

KeyedEntries AdbFiles::listForSorting(const std::string& path, bool includeHidden) const {
  return listing(path, includeHidden, true);
}

KeyedEntries AdbFiles::listing(const std::string& path, bool includeHidden,
                               bool withNameKeys) const {
  const std::string folder = RemotePath::validate(path);
  std::vector<Format> order;
  if (auto forced = forcedFormat()) {
    order = {*forced};
  } else {
    if (auto known = caches_->format(serial_)) order.push_back(*known);
    for (auto each : RemoteListing::allFormats) {
      if (std::find(order.begin(), order.end(), each) == order.end()) order.push_back(each);
    }
  }
  std::optional<KeyedEntries> entries;
  for (auto format : order) {
    try {
      entries = listAs(format, folder, withNameKeys);
      caches_->setFormat(serial_, format);
      break;
    } catch (const FilesError& error) {
      // A tablet that stopped answering answers no other tool either.
      if (error.message() == TabletShell::notAnswering()) throw;
      // Most often the folder itself is the trouble; say so before trying other tools.
      if (format == order.front()) diagnoseFolder(folder);
    }
  }
  if (!entries)
    throw FilesError::refused(
        fmt::format("could not list {}: the tablet\u2019s find and ls both failed", shown(folder)));
  if (!includeHidden)
    entries->eraseIf([](const RemoteEntry& entry) { return entry.name.starts_with('.'); });
  if (withNameKeys) entries->addNameKeys();
  markLinkTargets(entries->entries, folder);
  return std::move(*entries);
}

void AdbFiles::markLinkTargets(std::vector<RemoteEntry>& entries, const std::string& folder) const {
  auto isLink = [](const RemoteEntry& entry) { return entry.kind == RemoteEntry::Kind::symlink; };
  if (std::none_of(entries.begin(), entries.end(), isLink)) return;
  // A dangling link makes find complain but does not spoil what it prints.
  auto result = exec(
      {"find", "-L", folder + "/", "-mindepth", "1", "-maxdepth", "1", "-type", "d", "-print0"},
      listTimeout, false);
  auto folders = RemoteListing::folderTargets(result.output, folder);
  for (auto& entry : entries) {
    if (isLink(entry)) entry.targetIsDirectory = folders.count(entry.name) > 0;
  }
}

}  // namespace lumivale
