#pragma once

#include <filesystem>
#include <string_view>

namespace lumivale {

// Replaces `file` with `content` so that a reader sees either the old file or the
// whole new one, then sets its mode to 0600. Throws FileSystemError.
void writeFileAtomically(const std::filesystem::path& file, std::string_view content);

// Creates `folder` with any missing parents. Throws FileSystemError.
void createFolder(const std::filesystem::path& folder);

}  // namespace lumivale
