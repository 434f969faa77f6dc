#include "platform/backup_exclusion.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <optional>

namespace lumivale::platform {
namespace {

// The file's attribute flags, read and optionally changed through one descriptor;
// absent where the file system has none.
std::optional<int> attributeFlags(const std::filesystem::path& file, int add) {
  int fd = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  int flags = 0;
  std::optional<int> result;
  if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
    result = flags;
    if ((flags & add) != add) {
      int wanted = flags | add;
      if (::ioctl(fd, FS_IOC_SETFLAGS, &wanted) == 0) result = wanted;
    }
  }
  ::close(fd);
  return result;
}

}  // namespace

void excludeFromBackup(const std::filesystem::path& file) {
  attributeFlags(file, FS_NODUMP_FL);
}

bool isExcludedFromBackup(const std::filesystem::path& file) {
  auto flags = attributeFlags(file, 0);
  return flags && (*flags & FS_NODUMP_FL) != 0;
}

}  // namespace lumivale::platform
