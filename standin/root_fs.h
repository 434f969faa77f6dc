#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "core/tablet/unique_fd.h"

namespace lumivale::standin {

// File access for the sync service, with every path (and every symbolic link
// in it, such as /sdcard) resolved inside the tablet root as a chrooted process
// would see it. Calls return -1 / false and leave errno set on failure.
class RootFs {
 public:
  explicit RootFs(const std::string& root);

  // openat(2) of a tablet path.
  UniqueFd open(std::string_view path, int flags, mode_t mode = 0) const;
  // lstat(2) of a tablet path; a trailing "/" follows a final link, as in POSIX.
  bool stat(std::string_view path, struct stat& result) const;
  // Makes the folders above `path` that are missing.
  bool makeParents(std::string_view path) const;
  // The folder holding `path`, opened, and the last name in `path`.
  UniqueFd openParent(std::string_view path, std::string& leaf) const;

 private:
  UniqueFd root_;
};

}  // namespace lumivale::standin
