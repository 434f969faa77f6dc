#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale {

using namespace files_detail;

void AdbFiles::makeDirectory(const std::string& path, bool intermediate) const {
  const std::string valid = confineChange(path, false, topChange);
  const std::string doing = "make " + RemotePath::name(valid);
  std::vector<std::string> command{"mkdir"};
  if (intermediate) command.push_back("-p");
  command.insert(command.end(), {"--", valid});
  check(command, doing, stepTimeout);
  if (exec({"test", "-d", valid}, stepTimeout, false).status != 0)
    throw FilesError::refused(fmt::format("could not {}: it is not a folder", doing));
}

void AdbFiles::moveChecked(const std::string& from, const std::string& to,
                           std::string_view doing) const {
  auto before = identity(from);
  if (!before) throw FilesError::refused(fmt::format("{}: it is not there any more", shown(from)));
  if (present(to)) throw MoveSkipped(to);
  check({"mv", "-n", "--", from, to}, doing, stepTimeout);
  auto after = identity(to);
  if (after == before) return;
  if (!after && identity(from) == before) throw MoveSkipped(to);
  if (!after) throw FilesError::refused(fmt::format("{}: it is not there any more", shown(from)));
  throw FilesError::refused(
      fmt::format("{}: what has the new name is not what was moved", shown(to)));
}

std::string AdbFiles::rename(const std::string& path, const std::string& newName) const {
  RemotePath::validateNewName(newName);
  const std::string valid =
      confineChange(path, true, "the top of the tablet\u2019s storage cannot be renamed");
  const std::string target = RemotePath::join(*RemotePath::parent(valid), newName);
  if (target == valid) return valid;
  // The storage ignores case: a change of capitals names the same item, not another.
  if (utf8::asciiLowered(target) != utf8::asciiLowered(valid) && present(target))
    throw FilesError::exists(target);
  const std::string name = RemotePath::name(valid);
  const std::string folder = *RemotePath::parent(valid);
  const LiveStaging live(StagingRecord::newId());
  noteStaging(folder, StagingRecord::mine(live.id(), StagingRecord::Operation::rename, name,
                                          RemotePath::name(target)));
  const std::string staging = folder + "/" + std::string(renamingPrefix) + live.id();
  try {
    moveChecked(valid, staging, "rename " + name);
  } catch (const Error&) {
    settleRecord(folder, live.id(), {staging});
    throw;
  }
  try {
    moveChecked(staging, target, "rename " + name);
  } catch (const Error&) {
    try {
      settling().moveChecked(staging, valid, "restore " + name);
    } catch (const Error&) {
      // Left under its renaming name with its record, from which clean-up puts it back.
    }
    settleRecord(folder, live.id(), {staging});
    throw;
  }
  dropRecord(folder, live.id());
  return target;
}

void AdbFiles::remove(const std::string& path) const {
  const std::string valid =
      confineChange(path, true, "refusing to remove the whole of the tablet\u2019s storage");
  const std::string name = RemotePath::name(valid);
  const std::string folder = *RemotePath::parent(valid);
  const LiveStaging live(StagingRecord::newId());
  noteStaging(folder, StagingRecord::mine(live.id(), StagingRecord::Operation::remove, name));
  const std::string staging = folder + "/" + std::string(deletingPrefix) + live.id();
  try {
    moveChecked(valid, staging, "delete " + name);
  } catch (const Error&) {
    settleRecord(folder, live.id(), {staging});
    throw;
  }
  std::string reason;
  try {
    auto result = exec({"rm", "-r", "--", staging}, folderTimeout, true);
    if (result.status == 0) {
      dropRecord(folder, live.id());
      return;
    }
    reason = displayable(firstLine(result.output));
  } catch (const FilesError& error) {
    reason = error.message();
  }
  throw FilesError::refused(fmt::format(
      "'{}' is gone from its folder, but the tablet stopped before erasing all of it ({}). What is "
      "left is hidden as {} in {}. Clean up in the Files pane removes it (lumivale files cleanup "
      "{}).",
      shown(name), reason, RemotePath::name(staging), shown(folder), shown(folder)));
}

void AdbFiles::settleRecord(const std::string& folder, const std::string& id,
                            const std::vector<std::string>& staged) const noexcept {
  try {
    // Runs while failing or being cancelled, so not under this copy's token.
    const AdbFiles unstopped = settling();
    for (const auto& path : staged) {
      if (unstopped.present(path)) return;
    }
    unstopped.dropRecord(folder, id);
  } catch (...) {
    // The tablet cannot say; the record stays, so clean-up can tell what the items were.
  }
}

bool AdbFiles::discardStage(const std::string& staged) const noexcept {
  try {
    return settling().exec({"rm", "-rf", "--", staged}, folderTimeout, true).status == 0;
  } catch (...) {
    return false;  // failing already; what stays behind carries a staging name and its record
  }
}

}  // namespace lumivale
