#include "core/files/adb_files_detail.h"

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/files/files_error.h"
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

void rethrowSayingWhatIsLeft(const Error& error, const std::string& left) {
  if (dynamic_cast<const Cancelled*>(&error)) throw Cancelled(left);
  const auto* refusal = dynamic_cast<const FilesError*>(&error);
  if (!refusal || refusal->kind() != FilesError::Kind::refused) throw;
  throw FilesError::refused(fmt::format("{}. {}", error.message(), left));
}

}  // namespace lumivale::files_detail
