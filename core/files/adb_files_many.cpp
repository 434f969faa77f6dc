// The Reading folder's new copies, sent and put in place many at a time: a few adb runs for
// a whole batch rather than a few for each file.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <set>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"
#include "core/files/staging_record.h"
#include "core/files/utf8.h"

namespace lumivale {

using namespace files_detail;
namespace fs = std::filesystem;

namespace {

// Bytes of one publishing line as it reaches the tablet: longer than other batches, so that a
// batch goes in place in a few runs, and still inside the 64 KiB that adb carries for a command.
constexpr std::size_t publishBudget = 56 * 1024;

// One push's progress as part of the batch's.
class BatchProgress : public TransferObserver {
 public:
  BatchProgress(TransferObserver* to, std::uint64_t total) : to_(to), total_(total) {}
  void notify(const TransferProgress& progress) override {
    if (to_ != nullptr)
      to_->notify(
          {static_cast<std::int64_t>(before) + progress.done, static_cast<std::int64_t>(total_)});
  }
  std::uint64_t before = 0;  // bytes of the pushes before this one

 private:
  TransferObserver* to_;
  std::uint64_t total_;
};

std::uint64_t sizeOf(const fs::path& local) {
  std::error_code error;
  const auto size = fs::file_size(local, error);
  return error ? 0 : size;
}

// One command of a publishing line, and where its moves are seen afterwards: the targets one by
// one, or the listing of the folder they went to.
struct PublishStep {
  std::string command;
  std::vector<std::string> paths;
  std::string listed;
};

std::string listing(const std::string& folder) {
  return fmt::format("find {} -mindepth 1 -maxdepth 1 -printf {} -print0 2>/dev/null",
                     TabletShell::quoted(folder), TabletShell::quoted(identifiedFormat));
}

// The moves as shell commands: copies that keep their name go to their folder in one mv for
// many, named from inside their staging folder so that a line holds many; the others one by
// one. A name taken, in any capitals (the storage ignores case, and mv -n sees it through the
// storage), keeps what holds it and the copy stays staged.
std::vector<PublishStep> publishSteps(
    const std::vector<std::pair<std::string, std::string>>& moves) {
  std::vector<PublishStep> steps;
  // Names by the folder they leave and the folder they go to.
  std::map<std::pair<std::string, std::string>, std::vector<std::string>> together;
  for (const auto& [from, to] : moves) {
    if (RemotePath::name(from) == RemotePath::name(to)) {
      together[{*RemotePath::parent(from), *RemotePath::parent(to)}].push_back(
          RemotePath::name(from));
      continue;
    }
    const std::string target = TabletShell::quoted(to);
    steps.push_back(
        {fmt::format("[ -e {} ] || mv -n -- {} {}", target, TabletShell::quoted(from), target),
         {to},
         {}});
  }
  for (const auto& [folders, names] : together) {
    const auto& [from, to] = folders;
    for (const auto& batch : AdbFiles::batches(names, publishBudget / 4)) {
      PublishStep step{fmt::format("cd -- {} && mv -n --", TabletShell::quoted(from)), {}, to};
      for (const std::string& name : batch)
        step.command += " " + TabletShell::quoted(name);
      step.command += " " + TabletShell::quoted(to + "/");
      steps.push_back(std::move(step));
    }
  }
  return steps;
}

// Shell lines of steps within the budget, each ending with what its targets hold now; the last
// one then runs `last`.
std::vector<std::string> publishLines(const std::vector<PublishStep>& steps,
                                      const std::string& last) {
  if (steps.empty()) return {last};
  std::vector<std::string> lines;
  std::string commands;
  std::string paths;
  std::set<std::string> listed;
  std::size_t used = 0;
  const auto close = [&] {
    std::vector<std::string> looks;
    for (const std::string& folder : listed)
      looks.push_back(listing(folder));
    if (!paths.empty())
      looks.push_back(fmt::format("find{} -maxdepth 0 -printf {} -print0 2>/dev/null", paths,
                                  TabletShell::quoted(identifiedFormat)));
    lines.push_back(commands + fmt::format("{}", fmt::join(looks, "; ")));
    commands.clear();
    paths.clear();
    listed.clear();
    used = 0;
  };
  for (const PublishStep& step : steps) {
    std::string quoted;
    for (const std::string& path : step.paths)
      quoted += " " + TabletShell::quoted(path);
    // As it reaches the tablet: quoted once more, as the argument of sh -c.
    std::size_t cost = TabletShell::quoted(step.command + "; " + quoted).size();
    const auto listingCost = [&]() -> std::size_t {
      if (step.listed.empty() || listed.contains(step.listed)) return 0;
      return TabletShell::quoted(listing(step.listed) + "; ").size();
    };
    if (!commands.empty() && used + cost + listingCost() > publishBudget) close();
    cost += listingCost();
    commands += step.command + "; ";
    paths += quoted;
    if (!step.listed.empty()) listed.insert(step.listed);
    used += cost;
  }
  close();
  lines.back() += "; " + last;
  return lines;
}

}  // namespace

std::map<std::string, ReadingTree::Item> AdbFiles::pushMany(const std::string& staging,
                                                            const std::vector<Arrival>& arrivals,
                                                            std::uint64_t bytes,
                                                            TransferObserver* progress) const {
  const std::string valid = RemotePath::validate(staging);
  const std::string folder = *RemotePath::parent(valid);
  const auto staged = StagedName::of(RemotePath::name(valid));
  if (!staged || staged->kind != Leftover::unfinishedCopy)
    throw FilesError::refused(fmt::format("'{}' is not a staged copy", shown(valid)));
  std::vector<std::string> together;
  std::vector<const Arrival*> alone;
  for (const Arrival& arrival : arrivals) {
    RemotePath::validateName(arrival.name);
    if (arrival.local.filename() == arrival.name) {
      together.push_back(arrival.local.string());
    } else {
      alone.push_back(&arrival);
    }
  }
  noteStaging(
      folder,
      StagingRecord::mine(staged->id, StagingRecord::Operation::copy, RemotePath::name(folder)),
      valid);
  BatchProgress sent(progress, bytes);
  const auto send = [&](const std::vector<std::string>& command, std::uint64_t size) {
    const std::uint64_t before = sent.before;
    transfer(
        command, [&] { return std::max(usage(valid), before) - before; }, size, limits_.maxBytes,
        &sent);
    sent.before += size;
  };
  try {
    for (const auto& batch : batches(together, localBatchBudget)) {
      std::vector<std::string> command{"push"};
      command.insert(command.end(), batch.begin(), batch.end());
      command.push_back(valid + "/");
      std::uint64_t size = 0;
      for (const std::string& local : batch)
        size += sizeOf(local);
      send(command, size);
    }
    for (const Arrival* arrival : alone)
      send({"push", arrival->local.string(), valid + "/" + arrival->name}, sizeOf(arrival->local));
    const auto listed = exec({"find", valid + "/", "-mindepth", "1", "-maxdepth", "1", "-printf",
                              std::string(identifiedFormat), "-print0"},
                             folderTimeout, false);
    if (listed.status != 0)
      throw FilesError::refused(
          fmt::format("could not check the copies: {}", displayable(firstLine(listed.output))));
    std::map<std::string, ReadingTree::Item> arrived;
    for (auto& [path, item] : identifiedItems(listed.output))
      arrived[RemotePath::name(path)] = std::move(item);
    return arrived;
  } catch (...) {
    settling().discardStage(valid);
    settling().dropRecord(folder, staged->id);
    throw;
  }
}

std::map<std::string, ReadingTree::Item> AdbFiles::publishMany(
    const std::string& staging,
    const std::vector<std::pair<std::string, std::string>>& moves) const {
  const std::string valid = RemotePath::validate(staging);
  const std::string folder = *RemotePath::parent(valid);
  const auto staged = StagedName::of(RemotePath::name(valid));
  if (!staged || staged->kind != Leftover::unfinishedCopy)
    throw FilesError::refused(fmt::format("'{}' is not a staged copy", shown(valid)));
  std::vector<std::pair<std::string, std::string>> checked;
  for (const auto& [from, to] : moves)
    checked.emplace_back(RemotePath::validate(from), RemotePath::validate(to));
  // What is still staged then had its name taken: it goes with the folder, and so does the
  // record. What will not go is erased by the next clean-up.
  const std::string erase = "rm -rf -- " + TabletShell::quoted(valid) + " " +
                            TabletShell::quoted(folder + "/" + StagingRecord::fileName(staged->id));
  std::map<std::string, ReadingTree::Item> now;
  for (const std::string& line : publishLines(publishSteps(checked), erase))
    now.merge(identifiedItems(exec({"sh", "-c", line}, folderTimeout, false).output));
  // A listing names an item as it is stored; a target the storage takes in other capitals is
  // that item.
  std::map<std::string, const ReadingTree::Item*> lowered;
  for (const auto& [path, item] : now)
    lowered.emplace(utf8::asciiLowered(path), &item);
  for (const auto& [from, to] : checked) {
    const auto stored = lowered.find(utf8::asciiLowered(to));
    if (!now.contains(to) && stored != lowered.end()) now.emplace(to, *stored->second);
  }
  return now;
}

bool AdbFiles::publishWhole(const std::string& staging, const std::string& folder) const {
  const std::string valid = RemotePath::validate(staging);
  const std::string target = RemotePath::validate(folder);
  const auto staged = StagedName::of(RemotePath::name(valid));
  if (!staged || staged->kind != Leftover::unfinishedCopy ||
      RemotePath::parent(target) != RemotePath::parent(valid))
    throw FilesError::refused(
        fmt::format("'{}' is not a staged copy of {}", shown(valid), shown(target)));
  const std::string record = *RemotePath::parent(valid) + "/" + StagingRecord::fileName(staged->id);
  // mv -n -T neither replaces nor enters a folder made meanwhile: the staging folder then stays.
  const std::string line = fmt::format(
      "if mv -n -T -- {0} {1} && [ ! -e {0} ]; then rm -f -- {2}; echo moved; fi",
      TabletShell::quoted(valid), TabletShell::quoted(target), TabletShell::quoted(record));
  return exec({"sh", "-c", line}, stepTimeout, false).output.starts_with("moved");
}

}  // namespace lumivale
