#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace lumivale {

// What the Reading folder copied to one tablet folder from one computer folder. Paths in
// `files` are relative to the computer's folder; `tabletPath` and `folders` are relative
// to the tablet's folder.
struct ReadingFolderManifest {
  struct CopiedFile {
    std::int64_t size = 0;
    double modified = 0;
    std::string sha256;
    std::string tabletPath;
    std::int64_t tabletSize = 0;
    std::optional<double> tabletModified;
    // Copied as the "(from Mac)" copy beside a tablet copy that changed on the tablet.
    std::optional<bool> keptBoth;
    // The user deleted the tablet copy: copied again only when the computer file changes.
    std::optional<bool> removedOnTablet;
    std::optional<std::uint64_t> inode;
    // The computer file's status-change time in nanoseconds since 1970.
    std::optional<std::int64_t> changed;

    bool operator==(const CopiedFile&) const = default;
  };

  std::string macFolder;
  std::string tabletFolder;
  std::map<std::string, CopiedFile> files;
  std::vector<std::string> folders;
  std::optional<double> updatedAt;  // seconds since 1970
  std::optional<std::string> macFolderID;

  bool operator==(const ReadingFolderManifest&) const = default;
};

// Computer-side paths ("macFolder" and the keys of "files") may hold bytes that are not
// UTF-8, which JSON cannot carry: in the stored text each such byte, and each "%", is
// written as "%" and two hex digits.
std::string storedMacPath(const std::string& path);
std::string macPathFromStored(const std::string& text);
void to_json(nlohmann::json& json, const ReadingFolderManifest::CopiedFile& file);
void from_json(const nlohmann::json& json, ReadingFolderManifest::CopiedFile& file);
void to_json(nlohmann::json& json, const ReadingFolderManifest& manifest);
void from_json(const nlohmann::json& json, ReadingFolderManifest& manifest);

}  // namespace lumivale
