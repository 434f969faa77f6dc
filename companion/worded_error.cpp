#include "companion/worded_error.h"

#include <system_error>

#include "core/error.h"

namespace lumivale::companion {
namespace fs = std::filesystem;

FileSystemError wordedFileError(const std::string& action, const fs::filesystem_error& error) {
  return FileSystemError(action, error.path1(), error.code().value());
}

std::string wordedMessage(const std::exception& error) {
  if (const auto* own = dynamic_cast<const Error*>(&error)) return own->message();
  if (const auto* file = dynamic_cast<const fs::filesystem_error*>(&error)) {
    // Where nothing closer said what was being done, the path and the reason still help.
    const std::string reason = file->code().message();
    if (file->path1().empty()) return "a file operation failed: " + reason;
    std::string paths = file->path1().string();
    if (!file->path2().empty()) paths += " and " + file->path2().string();
    return "a file operation on " + paths + " failed: " + reason;
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error))
    return "the system refused an operation: " + system->code().message();
  return error.what();
}

}  // namespace lumivale::companion
