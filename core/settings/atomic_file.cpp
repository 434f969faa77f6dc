#include "core/settings/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "core/settings/file_system_error.h"

namespace lumivale {
namespace {

void writeAll(int fd, std::string_view content, const std::filesystem::path& file) {
  while (!content.empty()) {
    auto written = ::write(fd, content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throw FileSystemError("could not write", file, errno);
    }
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void createFolder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw FileSystemError("could not create the folder", folder, error.value());
}

void writeFileAtomically(const std::filesystem::path& file, std::string_view content) {
  writeFileThroughTemporary(file, content, file.filename().string() + ".XXXXXX");
}

void writeFileThroughTemporary(
    const std::filesystem::path& file, std::string_view content, std::string_view temporaryName,
    const std::function<void(const std::filesystem::path&)>& beforeMove) {
  // The temporary file sits beside the target so that the rename stays on one file system.
  std::string temporary = (file.parent_path() / temporaryName).string();
  const auto suffix = temporaryName.size() - temporaryName.rfind("XXXXXX") - 6;
  int fd = ::mkostemps(temporary.data(), static_cast<int>(suffix), O_CLOEXEC);
  if (fd < 0) throw FileSystemError("could not create a file beside", file, errno);
  try {
    writeAll(fd, content, temporary);
    if (beforeMove) beforeMove(temporary);
    if (::close(std::exchange(fd, -1)) != 0)
      throw FileSystemError("could not write", temporary, errno);
    if (::rename(temporary.c_str(), file.c_str()) != 0)
      throw FileSystemError("could not replace", file, errno);
  } catch (...) {
    if (fd >= 0) ::close(fd);
    ::unlink(temporary.c_str());
    throw;
  }
  if (::chmod(file.c_str(), 0600) != 0)
    throw FileSystemError("could not set the permissions of", file, errno);
}

}  // namespace lumivale
