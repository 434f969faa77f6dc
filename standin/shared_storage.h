#pragma once

#include <filesystem>
#include <memory>

namespace lumivale::standin {

// The tablet's shared storage as a FUSE file system over a backing folder: names
// are looked up without regard to case (A-Z, as the tablet folds them) and keep
// the case they were given, and a name holding a character that FAT does not
// allow cannot be made ("Invalid argument", as the tablet answers). Anything
// else passes through to the backing folder.
//
// It is mounted in a mount namespace of this process's own, so that the mount
// ends with the last process that can see it, even one that is killed, and no
// mount is ever left behind on the machine (see enterOwnMountNamespace).
class SharedStorage {
 public:
  SharedStorage(const std::filesystem::path& backing, const std::filesystem::path& mountPoint);
  SharedStorage(const SharedStorage&) = delete;
  SharedStorage& operator=(const SharedStorage&) = delete;
  // Unmounts, waiting for the requests under way.
  ~SharedStorage();

  struct Mounted;

 private:
  std::unique_ptr<Mounted> mounted_;
};

// Moves this process into a mount namespace of its own whose mounts reach no
// other process. Only a process that has no threads yet can move.
void enterOwnMountNamespace();

}  // namespace lumivale::standin
