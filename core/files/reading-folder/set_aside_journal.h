#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/files/reading-folder/reading_folder_manifest.h"

namespace lumivale::ReadingFolderStore {

// What a sync run has under way on the tablet, written before each step that moves
// something, so that the next run, after a crash or a kill, finishes or undoes it instead
// of guessing from the staging names alone. Kept beside the tablet's record in
// "{serial}.set-aside.json" ("version", "serial", "entries", "stages"); tablet paths are
// absolute.
struct SetAsideFile {
  // A user-visible tablet item moved aside to a staging name while its replacement goes in
  // place: put back if the replacement did not arrive.
  struct Entry {
    std::string path;    // "path": the name it belongs to
    std::string heldAs;  // "heldAs": the staging path it waits under

    bool operator==(const Entry&) const = default;
  };
  // A copy sent to a staging name and not yet under its own: once `to` holds the very item
  // that was staged, `copied` becomes the file's record.
  struct Stage {
    std::string id;        // "id": the staging id on the tablet
    std::string mac;       // "mac": the computer file, relative to the Reading folder
    std::string staged;    // "staged": where it arrived
    std::string to;        // "to": the name it is for
    std::string identity;  // "identity": the staged item's (AdbFiles::readingItems)
    ReadingFolderManifest::CopiedFile copied;  // "copied": its record

    bool operator==(const Stage&) const = default;
  };

  int version = 1;
  std::string serial;
  std::vector<Entry> entries;
  std::vector<Stage> stages;

  bool operator==(const SetAsideFile&) const = default;

  bool empty() const { return entries.empty() && stages.empty(); }

  // The tablet's journal; an empty one when there is none. ReadingFolderError when it
  // cannot be read, or when it is another tablet's.
  static SetAsideFile load(const std::filesystem::path& settingsFolder, std::string_view tablet);
  // Written atomically, mode 0600; an empty journal removes the file.
  void save(const std::filesystem::path& settingsFolder) const;
};

}  // namespace lumivale::ReadingFolderStore
