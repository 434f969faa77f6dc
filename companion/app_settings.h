#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lumivale::companion {

// The settings that belong to one window of the app each, shared with the command line.
// JSON keys are the field names.
struct AppSettings {
  bool clipboardHistoryKept = true;  // the history shelf keeps copies after quitting
  bool sharedClipboardEnabled = false;
  std::optional<std::filesystem::path> readingFolderPath;
  bool readingFolderRemoveDeleted = false;         // deletions here are carried to the tablet
  bool readingFolderWatched = false;               // the app keeps the tablet synced by itself
  std::optional<std::string> readingFolderTablet;  // the serial it syncs with
  // Where on the tablet it goes; absent means the standard folder.
  std::optional<std::string> readingFolderTabletFolder;
  std::optional<std::string> openFilesLastRoute;
  bool wirelessPreferred = false;
  // The app's first-run welcome was seen to its end.
  bool welcomed = false;
  // The app's window as it was left: the pane shown and the size.
  std::optional<std::string> windowPane;
  std::optional<int> windowWidth;
  std::optional<int> windowHeight;

  bool operator==(const AppSettings&) const = default;
};

}  // namespace lumivale::companion
