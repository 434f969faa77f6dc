#include "core/files/adb_files_detail.h"

#include "core/files/remote_path.h"

namespace lumivale::files_detail {

std::string byteCount(std::uint64_t bytes) {
  const std::string digits = std::to_string(bytes);
  std::string grouped;
  for (std::size_t at = 0; at < digits.size(); ++at) {
    if (at > 0 && (digits.size() - at) % 3 == 0) grouped += ',';
    grouped += digits[at];
  }
  grouped += bytes == 1 ? " byte" : " bytes";
  return grouped;
}

std::string shown(std::string_view path) {
  return RemotePath::escapedForDisplay(path);
}

}  // namespace lumivale::files_detail
