#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

namespace lumivale::ReadingFolderStore {

// The JSON of a record file beside the tablet's record; absent when there is no file.
// A file that cannot be read, or whose content does not fit `decode`, is a ReadingFolderError
// telling the user to move it away.
std::optional<nlohmann::json> readRecordFile(const std::filesystem::path& path);
[[noreturn]] void recordUnreadable(const std::filesystem::path& path, const std::exception& error);

// Written atomically with mode 0600, making the folder if needed.
void writeRecordFile(const std::filesystem::path& path, const nlohmann::json& json);

// "{path} holds another tablet’s record ({serial}); nothing was saved".
[[noreturn]] void anotherTablets(const std::filesystem::path& path, std::string_view serial);

}  // namespace lumivale::ReadingFolderStore
