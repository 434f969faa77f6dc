#include "core/settings/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace lumivale {

FileLock::FileLock(const std::filesystem::path& lockFile)
    : fd_(::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (fd_ < 0) return;
  int result;
  do {
    result = ::flock(fd_, LOCK_EX);
  } while (result == -1 && errno == EINTR);
  held_ = result == 0;
}

FileLock::~FileLock() {
  if (held_) ::flock(fd_, LOCK_UN);
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace lumivale
