#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

namespace lumivale {

// Replaces `file` with `content` so that a reader sees either the old file or the
// whole new one, then sets its mode to 0600. Throws FileSystemError.
void writeFileAtomically(const std::filesystem::path& file, std::string_view content);

// The same through a temporary file in the same folder named after `temporaryName`, whose
// "XXXXXX" is made unique and which may end with a suffix (".name.XXXXXX.tmp"), so that
// leftovers of an interrupted write can be told apart. `beforeMove` sees the whole temporary
// file (mode 0600, all written) just before it is moved over `file`.
void writeFileThroughTemporary(
    const std::filesystem::path& file, std::string_view content, std::string_view temporaryName,
    const std::function<void(const std::filesystem::path&)>& beforeMove = {});

// Creates `folder` with any missing parents. Throws FileSystemError.
void createFolder(const std::filesystem::path& folder);

}  // namespace lumivale
