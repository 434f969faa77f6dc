#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"

namespace lumivale {

using namespace files_detail;

namespace {

// Writes the record's lines to a pending name, then moves it over the record's own name,
// so a record is either whole or absent.
constexpr std::string_view writeRecordScript =
    R"(printf '%s\n' "$@" > "$0.new" && mv -f -- "$0.new" "$0")";

bool isRecordFile(const RemoteEntry& entry) {
  return entry.name.starts_with(StagingRecord::recordPrefix);
}

}  // namespace

void AdbFiles::noteStaging(const std::string& folder, const StagingRecord& record,
                           const std::optional<std::string>& thenMake) const {
  std::string script(writeRecordScript);
  if (thenMake) script += " && mkdir -- " + TabletShell::quoted(*thenMake);
  std::vector<std::string> command{"sh", "-c", script,
                                   folder + "/" + StagingRecord::fileName(record.id)};
  const auto lines = record.lines();
  command.insert(command.end(), lines.begin(), lines.end());
  check(command, "note on the tablet which name the copy belongs to", stepTimeout);
}

bool AdbFiles::dropRecord(const std::string& folder, const std::string& id) const noexcept {
  // A run stopped between writing the record and moving it into place left it pending.
  const std::string record = folder + "/" + StagingRecord::fileName(id);
  try {
    return exec({"rm", "-f", "--", record, record + std::string(StagingRecord::pendingSuffix)},
                stepTimeout, true)
               .status == 0;
  } catch (...) {
    return false;  // a record left behind is erased by the next clean-up
  }
}

StagingFolder AdbFiles::stagingFolder(const std::string& folder) const {
  const std::string valid = RemotePath::validate(folder);
  return withRecords(valid, list(valid, true));
}

StagingFolder AdbFiles::withRecords(const std::string& folder,
                                    std::vector<RemoteEntry> entries) const {
  StagingFolder state{folder, std::move(entries), {}, std::chrono::system_clock::now()};
  std::vector<std::string> recordPaths;
  // Pending records are read too: one that was never moved into place still names its owner.
  for (const auto& entry : state.entries) {
    if (isRecordFile(entry)) recordPaths.push_back(entry.path);
  }
  for (const auto& batch : batches(recordPaths, batchBudget)) {
    std::vector<std::string> command{"cat", "--"};
    command.insert(command.end(), batch.begin(), batch.end());
    // A record that went away meanwhile is simply not read.
    for (auto& record : StagingRecord::parseAll(exec(command, stepTimeout, false).output)) {
      const bool running = ownerRunning(record, state.now);
      const std::string id = record.id;
      state.records[id] = OwnedRecord{std::move(record), running};
    }
  }
  return state;
}

std::vector<std::string> AdbFiles::foldersWithLeftovers(const std::string& top) const {
  const std::string valid = RemotePath::validate(top);
  // One listing of the whole tree; a staged folder is not looked into, since what it holds
  // belongs to it. The trailing slash follows the top when it is a link (/sdcard).
  const auto found = exec({"find", valid + "/", "-maxdepth", std::to_string(leftoverSearchDepth),
                           "-name", ".lumivale-*", "-prune", "-print0"},
                          folderTimeout, false);
  // Folders the tablet keeps from apps (Android/data) cannot be read and make find end
  // badly; what it printed of the rest still holds.
  if (found.status == 127)
    throw FilesError::refused(fmt::format(
        "could not look through {} for leftovers: the tablet has no find", shown(valid)));
  std::set<std::string> folders;
  std::string_view rest = found.output;
  while (!rest.empty()) {
    const auto end = rest.find('\0');
    std::string path(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    // find prints the top as given, slash included: "/sdcard//Camp/.lumivale-...".
    if (!path.starts_with(valid + "/")) continue;
    std::string inside = path.substr(valid.size() + 1);
    while (inside.starts_with('/'))
      inside.erase(0, 1);
    if (auto parent = RemotePath::parent(valid + "/" + inside)) folders.insert(*parent);
  }
  return {folders.begin(), folders.end()};
}

std::vector<LeftoverItem> AdbFiles::leftovers(const std::string& folder) const {
  return LeftoverPlan::items(stagingFolder(folder));
}

std::vector<RemoteEntry> AdbFiles::leftoverPartials(const std::string& folder) const {
  auto entries = list(folder, true);
  // An old copy held aside is the user's data, not a partial copy.
  std::erase_if(entries, [](const RemoteEntry& entry) {
    auto staged = StagedName::of(entry.name);
    return !staged || staged->kind != Leftover::unfinishedCopy;
  });
  return entries;
}

int AdbFiles::CleanUpReport::erased() const {
  return static_cast<int>(std::count_if(done.begin(), done.end(), [](const CleanUpStep& step) {
    return step.kind && step.does == CleanUpStep::Does::erase;
  }));
}

AdbFiles::CleanUpReport AdbFiles::cleanUp(const std::string& folder) const {
  return carryOut(LeftoverPlan::steps(stagingFolder(folder)));
}

void AdbFiles::sweepUnowned(const std::string& folder,
                            const std::vector<RemoteEntry>& entries) const noexcept {
  try {
    carryOut(LeftoverPlan::sweep(withRecords(folder, entries)));
  } catch (...) {
    // Sweeping is a courtesy to the copy that follows; clean-up does it again.
  }
}

AdbFiles::CleanUpReport AdbFiles::carryOut(const std::vector<CleanUpStep>& steps) const {
  using Does = CleanUpStep::Does;
  CleanUpReport report;
  std::set<std::string> stopped;
  for (const auto& step : steps) {
    if (step.does == Does::keep || stopped.count(step.id)) {
      report.kept.push_back(step);
      continue;
    }
    try {
      const std::string name = RemotePath::name(step.path);
      if (step.does == Does::erase && step.kind) {
        const std::string valid = confineChange(step.path, true, topChange);
        check({"rm", "-r", "--", valid}, "clean up " + name, folderTimeout);
      } else if (step.does == Does::erase) {
        check({"rm", "-f", "--", step.path}, "clean up " + name, stepTimeout);
      } else {
        moveChecked(step.path, step.to, "put " + RemotePath::name(step.to) + " back");
      }
      report.done.push_back(step);
    } catch (const Error& error) {
      report.failures.push_back(error.message());
      report.kept.push_back(step);
      stopped.insert(step.id);
    }
  }
  return report;
}

}  // namespace lumivale
