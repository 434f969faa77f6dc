#include <fmt/format.h>

#include <charconv>
#include <set>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/local_items.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale {

using namespace files_detail;
namespace fs = std::filesystem;

namespace {

FilesError notWhole(std::uint64_t found, std::uint64_t expected) {
  return FilesError::refused(fmt::format(
      "the copy did not arrive whole ({} of {}); nothing was replaced. If the item changed on the "
      "Mac while copying, try again",
      byteCount(found), byteCount(expected)));
}

void checkLocalItem(const fs::path& local, const std::string& name) {
  std::error_code error;
  const auto status = fs::symlink_status(local, error);
  // Only an item that is not there is missing; a folder on the way that cannot be entered
  // (or is a file) is said as it is.
  if (error && error != std::errc::no_such_file_or_directory)
    throw FilesError::refused(fmt::format("could not look at '{}' on this Mac: {}",
                                          shown(local.string()), error.message()));
  if (!fs::exists(status))
    throw FilesError::refused(
        fmt::format("'{}' does not exist on this Mac", shown(local.string())));
  if (name.find_first_of(RemotePath::fatForbidden) != std::string::npos)
    throw FilesError::refused(fmt::format(
        "'{}' has a character the tablet does not allow ({}); rename it on the Mac first",
        shown(name), RemotePath::forbiddenList()));
  if (fs::is_symlink(status))
    throw FilesError::refused(fmt::format(
        "'{}' is a link; the tablet cannot hold links, so the folder is not sent. Replace the link "
        "with what it points at, or leave it out",
        shown(name)));
  if (fs::is_regular_file(status)) return;
  if (!fs::is_directory(status))
    throw FilesError::refused(fmt::format("'{}' is not a file or a folder", shown(name)));
  try {
    if (LocalItems::firstLink(local))
      throw FilesError::refused(fmt::format(
          "'{}' holds links to other places, so it is not copied as a whole; copy the files inside "
          "it instead",
          shown(name)));
  } catch (const fs::filesystem_error&) {
    throw FilesError::refused(
        fmt::format("could not check '{}' for links, so it was not copied", shown(name)));
  }
}

std::uint64_t sumOfLines(std::string_view text) {
  std::uint64_t total = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::uint64_t value = 0;
    std::from_chars(text.data() + start, text.data() + end, value);
    total += value;
    start = end + 1;
  }
  return total;
}

}  // namespace

void AdbFiles::verifyStaged(const std::string& staged, const fs::path& local,
                            std::uint64_t localBytes) const {
  const bool folder = fs::is_directory(fs::symlink_status(local));
  std::optional<RemoteEntry> found;
  std::uint64_t arrived = 0;
  try {
    found = entry(staged);
    if (found && folder && found->kind == RemoteEntry::Kind::directory) {
      auto sizes = exec({"find", staged, "-type", "f", "-exec", "stat", "-c", "%s", "{}", "+"},
                        folderTimeout, true);
      if (sizes.status != 0) throw FilesError::refused(displayable(firstLine(sizes.output)));
      arrived = sumOfLines(sizes.output);
    } else if (found) {
      arrived = static_cast<std::uint64_t>(found->size);
    }
  } catch (const FilesError& error) {
    throw FilesError::refused(fmt::format("could not check the copy: {}", error.message()));
  }
  if (!found) throw FilesError::refused("the copy did not arrive whole; nothing was replaced");
  const auto expectedKind = folder ? RemoteEntry::Kind::directory : RemoteEntry::Kind::file;
  if (found->kind != expectedKind)
    throw FilesError::refused(
        "the copy did not arrive whole (the tablet holds something else); nothing was replaced");
  if (arrived != localBytes) throw notWhole(arrived, localBytes);
}

void AdbFiles::sendStaged(const fs::path& local, const std::string& staged,
                          std::uint64_t localBytes, TransferObserver* progress) const {
  if (!fs::is_directory(fs::symlink_status(local))) {
    transfer(
        {"push", local.string(), staged}, [&] { return remoteBytes(staged, false); }, localBytes,
        limits_.maxBytes, progress);
    return;
  }
  // A folder is made first, so even an empty one arrives, then filled child by child.
  check({"mkdir", "--", staged}, "prepare the copy", stepTimeout);
  auto made = entry(staged);
  if (!made || made->kind != RemoteEntry::Kind::directory)
    throw FilesError::refused(
        "the tablet did not make a plain folder for the copy; nothing was sent");
  std::vector<std::string> children;
  for (const auto& child : fs::directory_iterator(local))
    children.push_back(child.path().string());
  std::sort(children.begin(), children.end());
  for (const auto& batch : batches(children, localBatchBudget)) {
    std::vector<std::string> command{"push"};
    command.insert(command.end(), batch.begin(), batch.end());
    command.push_back(staged + "/");
    transfer(
        command, [&] { return usage(staged); }, localBytes, limits_.maxBytes, progress);
  }
  // adb push carries files only; empty folders are made here.
  std::vector<std::string> emptyFolders;
  for (const auto& item : fs::recursive_directory_iterator(local)) {
    if (item.is_directory() && !item.is_symlink() && fs::is_empty(item.path()))
      emptyFolders.push_back(staged + "/" + item.path().lexically_relative(local).string());
  }
  for (const auto& batch : batches(emptyFolders, batchBudget)) {
    std::vector<std::string> command{"mkdir", "-p", "--"};
    command.insert(command.end(), batch.begin(), batch.end());
    check(command, "prepare the copy", folderTimeout);
  }
}

std::string AdbFiles::push(const fs::path& local, const std::string& toDirectory,
                           const std::optional<std::string>& as, CollisionPolicy collision,
                           TransferObserver* progress) const {
  const std::string localName = local.filename().string();
  checkLocalItem(local, localName);
  const bool isFolder = fs::is_directory(fs::symlink_status(local));
  const std::uint64_t bytes = LocalItems::localSize(local);
  if (bytes > limits_.maxBytes)
    throw FilesError::refused(fmt::format("'{}' is {}; one copy is limited to {}", shown(localName),
                                          byteCount(bytes), byteCount(limits_.maxBytes)));

  const std::string folder = confine(toDirectory, true);
  if (exec({"test", "-d", folder}, stepTimeout, false).status != 0)
    throw FilesError::refused(fmt::format("'{}' is not a folder", shown(folder)));
  if (auto free = tabletFree(folder); free && *free < bytes + limits_.reserveBytes)
    throw FilesError::refused(
        fmt::format("the tablet has {} free; '{}' needs {} and {} is kept free", byteCount(*free),
                    shown(localName), byteCount(bytes), byteCount(limits_.reserveBytes)));

  std::string name = RemotePath::validateNewName(as.value_or(localName));
  std::optional<RemoteEntry> taken;
  std::set<std::string> names;
  const auto entries = list(folder, true);
  for (auto each : entries) {
    if (utf8::asciiLowered(each.name) == utf8::asciiLowered(name)) taken = each;
    names.insert(std::move(each.name));
  }
  if (taken && collision == CollisionPolicy::ask)
    throw FilesError::exists(RemotePath::join(folder, taken->name));
  if (taken && collision == CollisionPolicy::keepBoth) {
    name = RemotePath::uniqueName(name, names, isFolder, true);
    taken.reset();
  }
  const std::string target = RemotePath::join(folder, name);

  // A copy that an earlier run left behind goes before this one arrives.
  sweepUnowned(folder, entries);
  const LiveStaging live(StagingRecord::newId());
  noteStaging(folder, StagingRecord::mine(live.id(), StagingRecord::Operation::copy, name));
  const std::string staged = folder + "/" + std::string(partialPrefix) + live.id();
  try {
    sendStaged(local, staged, bytes, progress);
    verifyStaged(staged, local, bytes);
    place(staged, target, taken, live.id());
  } catch (const Error& error) {
    // A tablet that stopped answering would not answer the clean-up either: the hidden
    // remainder is left to the next copy or clean-up rather than waiting out their deadlines.
    const bool answering = error.message() != TabletShell::notAnswering();
    const bool discarded = answering && discardStage(staged);
    if (answering)
      settleRecord(folder, live.id(), {staged, folder + "/" + std::string(keptPrefix) + live.id()});
    if (discarded) throw;
    const std::string left = fmt::format(
        "What had arrived is left hidden as {} in {}: the next copy into that folder removes it, "
        "and so does Clean up in the Files pane (lumivale files cleanup {})",
        RemotePath::name(staged), shown(folder), shown(folder));
    rethrowSayingWhatIsLeft(error, left);
  } catch (...) {
    discardStage(staged);
    settleRecord(folder, live.id(), {staged, folder + "/" + std::string(keptPrefix) + live.id()});
    throw;
  }
  return target;
}

void AdbFiles::place(const std::string& staged, const std::string& target,
                     const std::optional<RemoteEntry>& old, const std::string& id) const {
  const std::string name = RemotePath::name(target);
  const std::string putInPlace = "put " + name + " in place";
  const std::string folder = *RemotePath::parent(target);
  // A cancel may land until the final move starts; once it has run, the copy is in place and
  // the push has succeeded, so that move, its check and what follows are not stopped.
  const AdbFiles finishing = settling();
  if (!old) {
    stop_.throwIfCancelled();
    finishing.moveChecked(staged, target, putInPlace);
    finishing.dropRecord(folder, id);
    return;
  }
  if (old->kind == RemoteEntry::Kind::file && old->path == target &&
      entry(staged)->kind == RemoteEntry::Kind::file) {
    stop_.throwIfCancelled();
    finishing.swapFile(staged, target, putInPlace);
    finishing.dropRecord(folder, id);
    return;
  }
  const std::string kept = folder + "/" + std::string(keptPrefix) + id;
  moveChecked(old->path, kept, "set the old " + name + " aside");
  try {
    stop_.throwIfCancelled();
    finishing.moveChecked(staged, target, putInPlace);
  } catch (const Error&) {
    try {
      settling().moveChecked(kept, old->path, "put the old copy back");
    } catch (const Error&) {
      // The old copy stays hidden under its kept name with its record; clean-up puts it back.
    }
    throw;
  }
  // The new copy is in place; an old copy that will not go stays, with its record, for
  // clean-up to erase.
  if (discardStage(kept)) finishing.dropRecord(folder, id);
}

void AdbFiles::swapFile(const std::string& staged, const std::string& target,
                        std::string_view doing) const {
  auto before = identity(staged);
  check({"mv", "-f", "-T", "--", staged, target}, doing, stepTimeout);
  if (!before || identity(target) != before)
    throw FilesError::refused(
        fmt::format("the new copy of {} did not arrive in place", shown(RemotePath::name(target))));
}

}  // namespace lumivale
