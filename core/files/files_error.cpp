#include "core/files/files_error.h"

#include <fmt/format.h>

#include "core/files/remote_path.h"

namespace lumivale {

FilesError FilesError::exists(const std::string& path) {
  return {Kind::exists, path,
          fmt::format("'{}' already exists", RemotePath::escapedForDisplay(path))};
}

FilesError FilesError::notFound(const std::string& path) {
  return {Kind::notFound, path,
          fmt::format("'{}' does not exist", RemotePath::escapedForDisplay(path))};
}

FilesError FilesError::refused(std::string sentence) {
  std::string message = sentence;
  return {Kind::refused, std::move(sentence), std::move(message)};
}

MoveSkipped::MoveSkipped(std::string target)
    : Error(fmt::format("'{}' is taken", RemotePath::escapedForDisplay(target))),
      target_(std::move(target)) {}

}  // namespace lumivale
