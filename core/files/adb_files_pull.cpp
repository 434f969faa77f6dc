#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/local_items.h"
#include "core/files/remote_path.h"

namespace lumivale {

using namespace files_detail;
namespace fs = std::filesystem;

void AdbFiles::pull(const std::string& path, const fs::path& destination,
                    TransferObserver* progress, bool replaceExisting) const {
  const std::string valid = confineItem(path);
  const std::string name = RemotePath::name(valid);
  const auto before = identity(valid);
  if (!before) throw FilesError::notFound(valid);
  const bool folder = kind(*before) == RemoteEntry::Kind::directory;
  if (folder) {
    auto links = exec({"find", valid, "-type", "l", "-print0"}, folderTimeout, false);
    if (links.status != 0 || !links.output.empty())
      throw FilesError::refused(
          fmt::format("'{}' arrived as a link; nothing was kept", shown(valid)));
  }

  const std::uint64_t bytes = folder ? usage(valid) : size(*before).value_or(0);
  if (bytes > limits_.maxBytes)
    throw FilesError::refused(fmt::format("'{}' is {}; one copy is limited to {}", shown(name),
                                          byteCount(bytes), byteCount(limits_.maxBytes)));
  if (auto free = LocalItems::freeBytes(destination); free && *free < bytes + limits_.reserveBytes)
    throw FilesError::refused(fmt::format("this Mac has {} free; '{}' needs {} and {} is kept free",
                                          byteCount(*free), shown(name), byteCount(bytes),
                                          byteCount(limits_.reserveBytes)));

  // Pulls into this folder that were stopped left their scratch folders; they go first.
  LocalItems::sweepScratch(destination.parent_path().empty() ? fs::path(".")
                                                             : destination.parent_path());
  LocalItems::ScratchFolder scratch(LocalItems::localScratch(destination));
  try {
    transfer(
        {"pull", "-a", valid, scratch.path().string()},
        [&] { return LocalItems::localSize(scratch.path()); }, bytes, limits_.maxBytes, progress);
    if (identity(valid) != before)
      throw FilesError::refused(
          fmt::format("'{}' changed on the tablet while it was copied; nothing was kept, try again",
                      shown(name)));
    const fs::path copy = scratch.path() / name;
    if (!fs::exists(fs::symlink_status(copy)))
      throw FilesError::refused(fmt::format("the copy of '{}' did not arrive", shown(name)));
    if (markQuarantine(copy) != 0)
      throw FilesError::refused(
          "this disk cannot mark files from the tablet as downloaded (quarantine), so nothing was "
          "kept; copy to a folder on this Mac instead");
    try {
      LocalItems::moveIntoPlace(copy, destination, replaceExisting);
    } catch (const fs::filesystem_error& error) {
      throw FilesError::refused(fmt::format("could not put '{}' at {}: {}", shown(name),
                                            destination.string(), error.code().message()));
    }
  } catch (const Error& error) {
    if (scratch.remove()) throw;
    const fs::path folder = scratch.path().parent_path();
    const std::string left = fmt::format(
        "Part of the copy is left in {}: lumivale files cleanup --pulls-in {} removes it",
        scratch.path().string(), folder.string());
    rethrowSayingWhatIsLeft(error, left);
  }
}

}  // namespace lumivale
