#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumivale::ProgramFiles {

// Files and folders of the settings folder that no other part of this library names.
inline constexpr const char* readingFolderRecords = "Reading folder";
inline constexpr const char* platformTools = "platform-tools";

// Where the clipboard helper is pushed on the tablet.
inline constexpr const char* clipboardHelper = "/data/local/tmp/lumivale-clip.dex";
// Where the Reading folder goes on the tablet unless the user chose another folder.
inline constexpr const char* defaultReadingFolderOnTablet = "/sdcard/Documents/From Mac";

// One thing the program made, and what it is, as a phrase: "the settings file".
struct Item {
  std::filesystem::path path;
  std::string what;

  bool operator==(const Item&) const = default;
};

// What the program keeps in its settings folder, found there now, by name: its own files,
// folders and locks, and the unfinished copies an interrupted write leaves beside them
// ("config.json.Xa3b9Q"). In name order.
std::vector<Item> inSettingsFolder(const std::filesystem::path& folder);
// The names in the settings folder that are not the program's, which it leaves alone.
std::vector<std::string> strangers(const std::filesystem::path& folder);

// The log's files in a log folder of the user's choosing: "lumivale.log" and its older
// parts ("lumivale.1.log", ...), never the folder itself or anything else in it.
std::vector<Item> logFiles(const std::filesystem::path& folder);

// The tablet folders the Reading folder's records copy into, each once, in the order
// found; the default folder when there is no record.
std::vector<std::string> readingFolderTabletFolders(const std::filesystem::path& settingsFolder);

}  // namespace lumivale::ProgramFiles
