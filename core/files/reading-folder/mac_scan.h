#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/files/reading-folder/reading_folder_limits.h"
#include "core/files/reading-folder/reading_folder_manifest.h"
#include "core/files/reading-folder/reading_folder_note.h"
#include "core/stop_token.h"

namespace lumivale {

// One file of the computer's folder.
struct MacFile {
  std::string path;  // relative to the folder
  std::int64_t size = 0;
  double modified = 0;  // seconds since 1970
  std::optional<std::string> sha256;
  // The digest and identity were taken over from the record: size, date and identity
  // were unchanged since the copy.
  bool fromRecord = false;
  std::optional<std::uint64_t> inode;
  std::optional<std::uint64_t> device;
  std::optional<std::int64_t> changed;  // status-change time, nanoseconds since 1970

  bool operator==(const MacFile&) const = default;
};

// The chosen folder as it was when read, so that a folder moved or replaced under the same
// path is told apart from the one that was copied.
struct MacRoot {
  std::string url;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::optional<double> born;  // creation time, where the file system keeps one

  bool operator==(const MacRoot&) const = default;
  // The folder at `folder` now. Throws FileSystemError when it cannot be looked at.
  static MacRoot of(const std::filesystem::path& folder);
  // "device:inode:born", the manifest's `macFolderID`.
  std::string id() const;
};

// What a path is, looked at through links.
struct FileIdentity {
  enum class Kind { file, folder, other };

  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  Kind kind = Kind::other;
  std::int64_t size = 0;
  double modified = 0;
  bool viaLink = false;  // the path itself, or a folder on its way, is a link
  std::string resolvedPath;

  bool operator==(const FileIdentity&) const = default;
  // Absent when nothing is there.
  static std::optional<FileIdentity> of(const std::filesystem::path& path);
};

// The computer's folder as read for one run.
struct MacScan {
  struct Options {
    // The tablet folder the files go to: a path too long there is noted.
    std::string tabletFolder;
    ReadingFolder::Limits limits = ReadingFolder::Limits::standard;
    // The record of the last copy, whose digests are taken over for unchanged files.
    const ReadingFolderManifest* record = nullptr;
  };

  std::vector<MacFile> files;
  std::vector<std::string> folders;  // relative, parents before children
  std::vector<ReadingFolderNote> skipped;
  int ignored = 0;
  std::optional<std::string> overLimit;
  // Tablet-side relative path to the computer-side one, for every file and folder.
  std::map<std::string, std::string> localPaths;
  bool complete = true;
  int unreadable = 0;
  int inCloud = 0;
  std::optional<MacRoot> root;

  bool operator==(const MacScan&) const = default;

  // Reads `folder`. Past a limit, nothing is hashed. Throws FileSystemError when the folder
  // itself cannot be opened, Cancelled when `stop` is cancelled.
  static MacScan read(const std::filesystem::path& folder, const Options& options,
                      const StopToken& stop = {});
};

namespace ReadingFolderNames {
// The name a computer name gets on the tablet: the characters its storage refuses, control
// characters and bytes that are not UTF-8 each become "_".
std::string tabletName(std::string_view macName);
// Hidden files, folder icons and unfinished downloads, left out without a note.
bool isIgnored(std::string_view name);
// A folder that the Mac shows as one document or app.
bool isPackage(std::string_view name);
}  // namespace ReadingFolderNames

}  // namespace lumivale
