#include "core/files/adb_files_detail.h"

#include "core/files/remote_path.h"

namespace lumivale::files_detail {

std::string byteCount(std::uint64_t bytes) {
  std::string digits = std::to_string(bytes);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
    digits.insert(static_cast<std::size_t>(at), ",");
  return digits + (bytes == 1 ? " byte" : " bytes");
}

std::string shown(std::string_view path) {
  return RemotePath::escapedForDisplay(path);
}

}  // namespace lumivale::files_detail
