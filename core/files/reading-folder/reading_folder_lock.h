#pragma once

#include <filesystem>
#include <string_view>

namespace lumivale::ReadingFolderStore {

// Only one copy to a tablet at a time, across the app and every lumivale command: an
// advisory lock on "{serial}.lock" beside the tablet's record, held for this object's life.
// Refuses at once, with the sentence to show, when another holds it; where the lock file
// cannot be had at all the copy goes on unlocked.
class Lock {
 public:
  Lock(const std::filesystem::path& settingsFolder, std::string_view tablet);
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock();

  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace lumivale::ReadingFolderStore
