#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace lumivale::LocalItems {

// Bytes of all regular files at or under `item` (links are not followed).
std::uint64_t localSize(const std::filesystem::path& item);

// The first link at any depth inside `folder`. Throws std::filesystem::filesystem_error
// when the folder cannot be searched.
std::optional<std::filesystem::path> firstLink(const std::filesystem::path& folder);

// Free bytes on the disk that holds `place` (or its nearest existing parent).
std::optional<std::uint64_t> freeBytes(const std::filesystem::path& place);

// A new, empty scratch folder beside `destination`, on the same disk so the finished
// copy can be renamed into place. Its name, ".lumivale-pull-{process id}-XXXXXX", says
// which program pulls into it. Throws FileSystemError, naming the folder, when it cannot
// be made.
std::filesystem::path localScratch(const std::filesystem::path& destination);

// Removes the scratch folders in `folder` of pulls that are no longer running: their
// process is gone from this computer, or, for a name without one, untouched for a day.
// Returns how many went; what cannot be removed is left.
int sweepScratch(const std::filesystem::path& folder);

// Moves `from` to `to` in one rename step. Whatever stands at `to` is swapped out to `from`
// with `replace` (so the old copy is never half-replaced and goes with the scratch folder),
// and kept with an error otherwise. Throws std::filesystem::filesystem_error.
void moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to,
                   bool replace);

// Removes a scratch folder when it goes out of scope, whatever happened.
class ScratchFolder {
 public:
  explicit ScratchFolder(std::filesystem::path path) : path_(std::move(path)) {}
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();
  const std::filesystem::path& path() const { return path_; }
  // Removes it now; false when some of it stays.
  bool remove() noexcept;

 private:
  std::filesystem::path path_;
};

}  // namespace lumivale::LocalItems
