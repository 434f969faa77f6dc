#include "core/files/local_items.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace lumivale::LocalItems {

namespace fs = std::filesystem;

std::uint64_t localSize(const fs::path& item) {
  std::error_code error;
  auto status = fs::symlink_status(item, error);
  if (error) return 0;
  if (fs::is_regular_file(status)) return fs::file_size(item, error);
  if (!fs::is_directory(status)) return 0;
  std::uint64_t total = 0;
  for (fs::recursive_directory_iterator it(item, error), end; !error && it != end;
       it.increment(error)) {
    if (it->is_regular_file(error) && !it->is_symlink(error)) {
      auto bytes = it->file_size(error);
      if (!error) total += bytes;
      error.clear();
    }
  }
  return total;
}

std::optional<fs::path> firstLink(const fs::path& folder) {
  for (const auto& item : fs::recursive_directory_iterator(folder)) {
    if (item.is_symlink()) return item.path();
  }
  return std::nullopt;
}

std::optional<std::uint64_t> freeBytes(const fs::path& place) {
  fs::path probe = place;
  std::error_code error;
  while (!probe.empty() && !fs::exists(probe, error))
    probe = probe.parent_path();
  if (probe.empty()) probe = ".";
  struct statvfs facts {};
  if (statvfs(probe.c_str(), &facts) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(facts.f_bavail) * facts.f_frsize;
}

fs::path localScratch(const fs::path& destination) {
  fs::path folder = destination.parent_path();
  if (folder.empty()) folder = ".";
  std::string pattern = (folder / ".lumivale-pull-XXXXXX").string();
  if (!mkdtemp(pattern.data()))
    throw fs::filesystem_error("could not make a scratch folder", folder,
                               std::error_code(errno, std::generic_category()));
  return pattern;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace lumivale::LocalItems
