#pragma once

#include <exception>
#include <filesystem>
#include <string>
#include <utility>

#include "core/settings/file_system_error.h"

namespace lumivale::companion {

// A file-system failure of the standard library, said as what was being done, on which
// path and why: `action` is e.g. "could not make a folder for the copy in".
FileSystemError wordedFileError(const std::string& action,
                                const std::filesystem::filesystem_error& error);

// Runs `body`; a file-system failure escaping it is said as `action` on the path it
// concerns. Other failures pass unchanged.
template <class Body>
auto wordingFileErrors(const std::string& action, Body&& body) -> decltype(body()) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::filesystem::filesystem_error& error) {
    throw wordedFileError(action, error);
  }
}

// The sentence a person is shown for a failure that reached the top of a front end:
// the program's own errors as they stand, and the system's failures worded, never as
// the library's raw text.
std::string wordedMessage(const std::exception& error);

}  // namespace lumivale::companion
