#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale {

using namespace files_detail;

namespace {

constexpr std::string_view topChange = "the top of the tablet\u2019s storage cannot be changed";

std::string besideIt(const std::string& path, std::string_view prefix) {
  return *RemotePath::parent(path) + "/" + AdbFiles::stagingName(prefix);
}

}  // namespace

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
  const std::string staging = besideIt(valid, renamingPrefix);
  moveChecked(valid, staging, "rename " + name);
  try {
    moveChecked(staging, target, "rename " + name);
  } catch (const Error&) {
    try {
      settling().moveChecked(staging, valid, "restore " + name);
    } catch (const Error&) {
      // Left under its renaming name, which leftovers finds; the first failure is the news.
    }
    throw;
  }
  return target;
}

void AdbFiles::remove(const std::string& path) const {
  const std::string valid =
      confineChange(path, true, "refusing to remove the whole of the tablet\u2019s storage");
  const std::string name = RemotePath::name(valid);
  const std::string staging = besideIt(valid, deletingPrefix);
  moveChecked(valid, staging, "delete " + name);
  std::string reason;
  try {
    auto result = exec({"rm", "-r", "--", staging}, folderTimeout, true);
    if (result.status == 0) return;
    reason = displayable(firstLine(result.output));
  } catch (const FilesError& error) {
    reason = error.message();
  }
  throw FilesError::refused(fmt::format(
      "'{}' is gone from its folder, but the tablet stopped before erasing all of it ({}). What is "
      "left is hidden as {}. Clean up in the Files pane removes it.",
      shown(name), reason, RemotePath::name(staging)));
}

int AdbFiles::cleanUp(const std::vector<RemoteEntry>& entries) const {
  int erased = 0;
  std::optional<FilesError> firstFailure;
  for (const auto& entry : entries) {
    try {
      if (!entry.name.starts_with(".lumivale-") || RemotePath::name(entry.path) != entry.name)
        throw FilesError::refused(
            fmt::format("'{}' is not a copy Lumivale left behind", shown(entry.path)));
      const std::string valid = confineChange(entry.path, true, topChange);
      check({"rm", "-r", "--", valid}, "clean up " + entry.name, folderTimeout);
      ++erased;
    } catch (const FilesError& error) {
      if (!firstFailure) firstFailure = error;
    }
  }
  if (firstFailure) throw *firstFailure;
  return erased;
}

void AdbFiles::discardStage(const std::string& staged) const noexcept {
  try {
    settling().exec({"rm", "-rf", "--", staged}, folderTimeout, true);
  } catch (...) {
    // Failing already; what stays behind carries a staging name that leftovers finds.
  }
}

}  // namespace lumivale
