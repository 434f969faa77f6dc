#include "core/files/local_items.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>  // renamex_np, renameat2
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>

#include "core/settings/file_system_error.h"

namespace lumivale::LocalItems {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view scratchPrefix = ".lumivale-pull-";
// A scratch folder whose name carries no process id is taken as abandoned after this long.
constexpr std::chrono::hours scratchSafeAge{24};

// The process that owns a scratch folder, when its name says.
std::optional<pid_t> scratchOwner(std::string_view name) {
  name.remove_prefix(scratchPrefix.size());
  const auto dash = name.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  pid_t pid = 0;
  auto [end, error] = std::from_chars(name.data(), name.data() + dash, pid);
  if (error != std::errc() || end != name.data() + dash || pid <= 0) return std::nullopt;
  return pid;
}

bool abandoned(const fs::directory_entry& item) {
  if (auto owner = scratchOwner(item.path().filename().string()))
    return *owner != ::getpid() && ::kill(*owner, 0) != 0 && errno == ESRCH;
  std::error_code error;
  const auto touched = item.last_write_time(error);
  return !error && fs::file_time_type::clock::now() - touched > scratchSafeAge;
}

}  // namespace

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
  std::string pattern =
      (folder / (std::string(scratchPrefix) + std::to_string(::getpid()) + "-XXXXXX")).string();
  if (!mkdtemp(pattern.data()))
    throw FileSystemError("could not make a scratch folder for the copy in", folder, errno);
  return pattern;
}

int sweepScratch(const fs::path& folder) {
  int removed = 0;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    if (!it->path().filename().string().starts_with(scratchPrefix)) continue;
    std::error_code ignored;
    if (!it->is_directory(ignored) || it->is_symlink(ignored) || !abandoned(*it)) continue;
    if (fs::remove_all(it->path(), ignored) != static_cast<std::uintmax_t>(-1) && !ignored)
      ++removed;
  }
  return removed;
}

ScratchFolder::~ScratchFolder() {
  remove();
}

bool ScratchFolder::remove() noexcept {
  std::error_code error;
  fs::remove_all(path_, error);
  return !error && !fs::exists(fs::symlink_status(path_, error));
}

void moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to,
                   bool replace) {
  std::error_code error;
  const bool taken = fs::exists(fs::symlink_status(to, error));
#ifdef __APPLE__
  const int done =
      renamex_np(from.c_str(), to.c_str(), taken && replace ? RENAME_SWAP : RENAME_EXCL);
#else
  int done = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                       taken && replace ? RENAME_EXCHANGE : RENAME_NOREPLACE);
  // A file system without these flags still renames a file over a file in one step.
  if (done != 0 && errno == EINVAL && (!taken || (replace && !fs::is_directory(to, error))))
    done = std::rename(from.c_str(), to.c_str());
#endif
  if (done != 0)
    throw fs::filesystem_error("could not move into place", from, to,
                               std::error_code(errno, std::generic_category()));
}

}  // namespace lumivale::LocalItems
