#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/files/reading-folder/mac_scan.h"
#include "core/files/reading-folder/reading_folder_manifest.h"

namespace lumivale {

// The records of what the Reading folder copied, kept in the "Reading folder" folder of the
// settings folder, one file per tablet (named by the tablet's serial number), so that the
// app and `lumivale folder sync` always agree and a second tablet gets its own record.
// Failures: ReadingFolderError with the sentence to show, FileSystemError when a file
// cannot be written.
namespace ReadingFolderStore {

inline constexpr int currentVersion = 1;

// One tablet's file: "version", "serial", "pairs" (one manifest for each computer folder
// and tablet folder pair).
struct File {
  int version = currentVersion;
  std::string serial;
  std::vector<ReadingFolderManifest> pairs;

  bool operator==(const File&) const = default;
};

std::filesystem::path directory(const std::filesystem::path& settingsFolder);
// "{serial}.json", with the characters a file name should not hold written as "%XX".
// Without a serial there is no record to name: ReadingFolderError.
std::filesystem::path fileURL(const std::filesystem::path& settingsFolder, std::string_view tablet);
// The same name with `suffix` in place of ".json".
std::filesystem::path besideRecord(const std::filesystem::path& settingsFolder,
                                   std::string_view tablet, std::string_view suffix);

// The tablet folder as records compare it: validated, "/storage/emulated/0" as "/sdcard".
std::string tabletFolderKey(std::string_view tabletFolder);

// The tablet's file; an empty one when there is none yet or when it is another tablet's
// (which is not used).
File load(const std::filesystem::path& settingsFolder, std::string_view tablet);

// The record of the folder at `root` copied into `tabletFolder`, found by the folder's
// identity first, so that a moved folder keeps its record, then by its path, where a
// different folder now starts a record of its own. `change` says, for the log, which of
// the two happened.
struct Found {
  ReadingFolderManifest manifest;
  std::optional<std::string> change;
};
Found manifest(const File& file, const MacRoot& root, std::string_view tabletFolder);

// Puts `manifest` in place of its pair's earlier record (or beside the others), stamped
// now. Refuses, saving nothing, when the file holds another tablet's record.
void save(const std::filesystem::path& settingsFolder, std::string_view tablet,
          ReadingFolderManifest manifest);

}  // namespace ReadingFolderStore

}  // namespace lumivale
