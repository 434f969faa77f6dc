// The Reading folder's new copies, sent and put in place many at a time: a few adb runs for
// a whole batch rather than a few for each file.
#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"
#include "core/files/staging_record.h"

namespace lumivale {

using namespace files_detail;
namespace fs = std::filesystem;

namespace {

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

// Moves each pair of arguments (staged path, target) where the name is free (the storage
// ignores case, so the test sees a name taken in other capitals too), then prints what every
// argument names now. Passing over the pairs without shifting keeps them for find.
std::string publishScript() {
  return fmt::format(
      R"(s=; for a; do if [ -z "$s" ]; then s=$a; else [ -e "$a" ] || mv -n -- "$s" "$a"; s=; fi; )"
      R"(done; find "$@" -maxdepth 0 -printf {} -print0 2>/dev/null)",
      TabletShell::quoted(identifiedFormat));
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
  std::vector<std::string> paths;
  for (const auto& [from, to] : moves) {
    paths.push_back(RemotePath::validate(from));
    paths.push_back(RemotePath::validate(to));
  }
  std::vector<std::vector<std::string>> runs;
  std::size_t used = 0;
  // A pair stays within one run.
  for (std::size_t i = 0; i < paths.size(); i += 2) {
    const std::size_t cost =
        TabletShell::quoted(paths[i]).size() + TabletShell::quoted(paths[i + 1]).size() + 2;
    if (runs.empty() || used + cost > batchBudget) {
      runs.emplace_back();
      used = 0;
    }
    runs.back().insert(runs.back().end(), {paths[i], paths[i + 1]});
    used += cost;
  }
  std::map<std::string, ReadingTree::Item> now;
  for (const auto& run : runs) {
    std::vector<std::string> command{"sh", "-c", publishScript(), "publish"};
    command.insert(command.end(), run.begin(), run.end());
    now.merge(identifiedItems(exec(command, folderTimeout, false).output));
  }
  // What is still staged had its name taken; the record goes with the folder, and what
  // will not go is erased by the next clean-up.
  exec({"rm", "-rf", "--", valid, folder + "/" + StagingRecord::fileName(staged->id)},
       folderTimeout, true);
  return now;
}

}  // namespace lumivale
