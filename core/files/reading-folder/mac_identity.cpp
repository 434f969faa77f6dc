#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

#include "core/files/reading-folder/mac_identity_detail.h"
#include "core/files/reading-folder/mac_scan.h"
#include "core/settings/file_system_error.h"

namespace lumivale {

namespace fs = std::filesystem;

double secondsOf(const struct timespec& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::int64_t nanosecondsOf(const struct timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

MacRoot rootOf(int folder, const std::string& url) {
  struct stat status {};
  if (::fstat(folder, &status) != 0) throw FileSystemError("could not read the folder", url, errno);
  MacRoot root{url, static_cast<std::uint64_t>(status.st_dev),
               static_cast<std::uint64_t>(status.st_ino), std::nullopt};
#if defined(__APPLE__)
  root.born = secondsOf(status.st_birthtimespec);
#elif defined(STATX_BTIME)
  struct statx extended {};
  if (::statx(folder, "", AT_EMPTY_PATH, STATX_BTIME, &extended) == 0 &&
      (extended.stx_mask & STATX_BTIME) != 0) {
    root.born = static_cast<double>(extended.stx_btime.tv_sec) +
                static_cast<double>(extended.stx_btime.tv_nsec) / 1e9;
  }
#endif
  return root;
}

MacRoot MacRoot::of(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) throw FileSystemError("could not open the folder", folder, errno);
  try {
    MacRoot root = rootOf(descriptor, folder.string());
    ::close(descriptor);
    return root;
  } catch (...) {
    ::close(descriptor);
    throw;
  }
}

std::string MacRoot::id() const {
  return born ? fmt::format("{}:{}:{:.9f}", device, inode, *born)
              : fmt::format("{}:{}:", device, inode);
}

std::optional<FileIdentity> FileIdentity::of(const fs::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  std::error_code error;
  const fs::path resolved = fs::canonical(path, error);
  FileIdentity identity;
  identity.device = static_cast<std::uint64_t>(status.st_dev);
  identity.inode = static_cast<std::uint64_t>(status.st_ino);
  identity.kind = S_ISREG(status.st_mode)   ? Kind::file
                  : S_ISDIR(status.st_mode) ? Kind::folder
                                            : Kind::other;
  identity.size = static_cast<std::int64_t>(status.st_size);
  identity.modified = secondsOf(status.st_mtim);
  identity.resolvedPath = error ? path.string() : resolved.string();
  identity.viaLink = !error && resolved != fs::absolute(path).lexically_normal();
  return identity;
}

}  // namespace lumivale
