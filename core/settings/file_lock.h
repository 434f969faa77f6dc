#pragma once

#include <filesystem>

namespace lumivale {

// An exclusive advisory lock on a separate lock file, held for this object's life.
// Best effort: when the lock file cannot be opened or locked, the holder goes on
// unlocked rather than refusing the work. A blocking lock on its own descriptor
// also excludes other threads of this process.
class FileLock {
 public:
  // Creates `lockFile` with mode 0600 when needed; blocks until the lock is had.
  explicit FileLock(const std::filesystem::path& lockFile);
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock();

  bool held() const { return held_; }

 private:
  int fd_ = -1;
  bool held_ = false;
};

}  // namespace lumivale
