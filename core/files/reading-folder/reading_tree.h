#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lumivale {

// The tablet's side of the Reading folder: every item under the tablet folder, as one
// listing found it, by path relative to that folder (hidden items included).
struct ReadingTree {
  struct Item {
    bool isFolder = false;  // anything else counts as a file the folder cannot go into
    std::int64_t size = 0;
    std::optional<double> modified;  // seconds since 1970
    // Filled in by the caller for the paths the planner asks about (digestsNeeded).
    std::optional<std::string> sha256;
    // The inode, filled by AdbFiles::readingItems: a move keeps it, a new copy does not.
    std::optional<std::string> identity;

    bool operator==(const Item&) const = default;
  };

  std::map<std::string, Item> items;
  // The tablet's sha256sum works: without it a copy whose date changed cannot be proved
  // unchanged.
  bool hashSupported = true;
  // The folder is there: a Reading folder not made yet holds nothing.
  bool folderExists = true;

  bool operator==(const ReadingTree&) const = default;

  // The items of `find {folder}/ -mindepth 1 -printf '%M|%s|%T@|' -print0`: mode string,
  // size, modification time with its fraction, then the whole path ended by NUL. Records
  // that do not fit, or lie outside `folder`, are left out.
  static ReadingTree parse(std::string_view findOutput, std::string_view folder);
};

}  // namespace lumivale
