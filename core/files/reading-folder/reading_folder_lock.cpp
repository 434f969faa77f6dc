#include "core/files/reading-folder/reading_folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "core/files/reading-folder/reading_folder_error.h"
#include "core/files/reading-folder/reading_folder_store.h"

namespace lumivale::ReadingFolderStore {

Lock::Lock(const std::filesystem::path& settingsFolder, std::string_view tablet) {
  const std::filesystem::path path = besideRecord(settingsFolder, tablet, ".lock");
  std::error_code ignored;
  std::filesystem::create_directories(path.parent_path(), ignored);
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return;
  int result;
  do {
    result = ::flock(fd, LOCK_EX | LOCK_NB);
  } while (result == -1 && errno == EINTR);
  if (result == 0) {
    fd_ = fd;
    return;
  }
  const int error = errno;
  ::close(fd);
  if (error == EWOULDBLOCK) {
    throw ReadingFolderError(
        "the reading folder is already being copied to this tablet (by the app or another "
        "lumivale command); try again when it is done");
  }
}

Lock::~Lock() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace lumivale::ReadingFolderStore
