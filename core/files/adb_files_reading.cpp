// The staged operations of the Reading folder's sync run: each step leaves the tablet
// either as it was or as asked, and nothing that changed on the tablet since it was
// looked at is replaced or removed.
#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/local_items.h"
#include "core/files/remote_path.h"
#include "core/tablet/adb_parse.h"

namespace lumivale {

using namespace files_detail;
namespace fs = std::filesystem;

ReadingTree AdbFiles::readingTree(const std::string& folder) const {
  const std::string valid = RemotePath::validate(folder);
  auto result = exec({"find", valid + "/", "-mindepth", "1", "-printf", "%M|%s|%T@|", "-print0"},
                     folderTimeout, false);
  if (result.status != 0) {
    if (!present(valid)) {
      ReadingTree missing;
      missing.folderExists = false;
      return missing;
    }
    throw FilesError::refused(
        fmt::format("could not list {}: {}", shown(valid), displayable(firstLine(result.output))));
  }
  return ReadingTree::parse(result.output, valid);
}

std::map<std::string, ReadingTree::Item> files_detail::identifiedItems(std::string_view output) {
  std::map<std::string, ReadingTree::Item> found;
  std::size_t start = 0;
  while (start < output.size()) {
    std::size_t end = output.find('\0', start);
    if (end == std::string_view::npos) end = output.size();
    const std::string_view record = output.substr(start, end - start);
    start = end + 1;
    const std::size_t bar = record.find('|');
    if (bar == std::string_view::npos) continue;
    // Each record is parsed as a tree of its own, rooted at "/".
    const ReadingTree one = ReadingTree::parse(record.substr(bar + 1), "/");
    if (one.items.size() != 1) continue;
    ReadingTree::Item item = one.items.begin()->second;
    item.identity = std::string(record.substr(0, bar));
    found["/" + one.items.begin()->first] = std::move(item);
  }
  return found;
}

std::map<std::string, ReadingTree::Item> AdbFiles::readingItems(
    const std::vector<std::string>& paths) const {
  std::vector<std::string> valid;
  for (const std::string& path : paths)
    valid.push_back(RemotePath::validate(path));
  std::map<std::string, ReadingTree::Item> found;
  for (const auto& batch : batches(valid, batchBudget)) {
    std::vector<std::string> command{"find"};
    command.insert(command.end(), batch.begin(), batch.end());
    command.insert(command.end(),
                   {"-maxdepth", "0", "-printf", std::string(identifiedFormat), "-print0"});
    // What is not there is left out; the others are still read.
    found.merge(identifiedItems(exec(command, folderTimeout, false).output));
  }
  return found;
}

std::map<std::string, std::string> AdbFiles::sha256s(const std::vector<std::string>& paths) const {
  std::vector<std::string> valid;
  for (const std::string& path : paths)
    valid.push_back(RemotePath::validate(path));
  std::map<std::string, std::string> digests;
  for (const auto& batch : batches(valid, batchBudget)) {
    std::vector<std::string> command{"sha256sum", "--"};
    command.insert(command.end(), batch.begin(), batch.end());
    // A file gone meanwhile is left out, not a failure of the others.
    const auto result = exec(command, folderTimeout, false);
    for (const std::string_view line : AdbParse::lines(result.output)) {
      if (line.size() < 67 ||
          line.substr(0, 64).find_first_not_of("0123456789abcdef") != std::string_view::npos) {
        continue;
      }
      digests[std::string(line.substr(66))] = std::string(line.substr(0, 64));
    }
  }
  return digests;
}

std::string AdbFiles::pushStaged(const fs::path& local, const std::string& folder,
                                 const std::string& name, TransferObserver* progress) const {
  const std::string valid = RemotePath::validate(folder);
  RemotePath::validateName(name);
  const std::uint64_t bytes = LocalItems::localSize(local);
  const std::string id = StagingRecord::newId();
  noteStaging(valid, StagingRecord::mine(id, StagingRecord::Operation::copy, name));
  const std::string staged = valid + "/" + std::string(partialPrefix) + id;
  try {
    sendStaged(local, staged, bytes, progress);
    verifyStaged(staged, local, bytes);
  } catch (...) {
    settling().discardStage(staged);
    settling().dropRecord(valid, id);
    throw;
  }
  return staged;
}

void AdbFiles::placeStaged(const std::string& staged, const std::string& target) const {
  moveChecked(staged, RemotePath::validate(target),
              "put " + RemotePath::name(target) + " in place");
  const auto id = StagedName::of(RemotePath::name(staged));
  if (id) dropRecord(*RemotePath::parent(staged), id->id);
}

std::string AdbFiles::setAsideIfUnchanged(const std::string& path, const ReadingTree::Item& seen,
                                          std::string_view prefix, const std::string& id) const {
  const std::string valid = RemotePath::validate(path);
  const std::string name = RemotePath::name(valid);
  const std::string heldAs = *RemotePath::parent(valid) + "/" + std::string(prefix) + id;
  moveChecked(valid, heldAs, "set " + name + " aside");
  // The listing's own format, to the fraction of a second: a same-size edit in the same
  // second still shows.
  const auto now = readingItems({heldAs});
  const auto held = now.find(heldAs);
  if (held != now.end() && !held->second.isFolder && held->second.size == seen.size &&
      held->second.modified == seen.modified) {
    return heldAs;
  }
  settling().moveBack(heldAs, valid);
  throw FilesError::refused(fmt::format(
      "'{}' changed on the tablet since it was looked at, so it was left as it is", shown(valid)));
}

void AdbFiles::moveBack(const std::string& heldAs, const std::string& path) const {
  moveChecked(heldAs, RemotePath::validate(path), "put " + RemotePath::name(path) + " back");
}

void AdbFiles::replaceIfUnchanged(const std::string& staged, const std::string& target,
                                  const ReadingTree::Item& seen) const {
  const auto stagedName = StagedName::of(RemotePath::name(staged));
  if (!stagedName || stagedName->kind != Leftover::unfinishedCopy) {
    throw FilesError::refused(fmt::format("'{}' is not a staged copy", shown(staged)));
  }
  const std::string kept = setAsideIfUnchanged(target, seen, keptPrefix, stagedName->id);
  try {
    moveChecked(staged, RemotePath::validate(target),
                "put " + RemotePath::name(target) + " in place");
  } catch (...) {
    settling().moveBack(kept, target);
    throw;
  }
  check({"rm", "-f", "--", kept}, "erase the old " + RemotePath::name(target), stepTimeout);
  dropRecord(*RemotePath::parent(staged), stagedName->id);
}

void AdbFiles::removeIfUnchanged(const std::string& path, const ReadingTree::Item& seen) const {
  const std::string valid = RemotePath::validate(path);
  const std::string folder = *RemotePath::parent(valid);
  const LiveStaging live(StagingRecord::newId());
  noteStaging(folder, StagingRecord::mine(live.id(), StagingRecord::Operation::remove,
                                          RemotePath::name(valid)));
  std::string held;
  try {
    held = setAsideIfUnchanged(valid, seen, deletingPrefix, live.id());
  } catch (...) {
    settleRecord(folder, live.id(), {folder + "/" + std::string(deletingPrefix) + live.id()});
    throw;
  }
  check({"rm", "-f", "--", held}, "delete " + RemotePath::name(valid), stepTimeout);
  dropRecord(folder, live.id());
}

bool AdbFiles::removeEmptyFolder(const std::string& path) const {
  const std::string valid = confineChange(path, false, topChange);
  if (exec({"rmdir", "--", valid}, stepTimeout, true).status == 0) return true;
  if (!present(valid)) return true;
  return false;
}

}  // namespace lumivale
