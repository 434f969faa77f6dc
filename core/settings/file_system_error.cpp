#include "core/settings/file_system_error.h"

#include <cstring>

namespace lumivale {

FileSystemError::FileSystemError(const std::string& action, const std::filesystem::path& path,
                                 int code)
    : Error(action + " " + path.string() + ": " + std::strerror(code)), code_(code) {}

}  // namespace lumivale
