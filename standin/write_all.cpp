#include "standin/write_all.h"

#include <unistd.h>

#include <cerrno>

namespace lumivale::standin {

bool writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    data.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

}  // namespace lumivale::standin
