#pragma once

#include <filesystem>
#include <string>

#include "core/error.h"

namespace lumivale {

// A file or folder operation that the system refused, with its errno.
class FileSystemError : public Error {
 public:
  // `action` says what was tried, e.g. "could not create the folder".
  FileSystemError(const std::string& action, const std::filesystem::path& path, int code);

  int code() const { return code_; }

 private:
  int code_;
};

}  // namespace lumivale
