#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/clipboard/clipboard_history.h"

namespace lumivale {

// How the system keeps one file out of backups, where it has a way: the platform's.
struct BackupExclusion {
  // Best effort: a file system without the mark leaves the file unmarked.
  std::function<void(const std::filesystem::path&)> mark;
  std::function<bool(const std::filesystem::path&)> isMarked;
};

// The history kept between runs in one file, readable only by the user and marked to be
// left out of backups. Every write is a whole new file moved over the old one, under an
// advisory lock on "clipboard-history.lock" beside it, so a reader sees an old or a new
// list and two programs recording at once lose nothing. Failures to write throw
// FileSystemError.
class ClipboardHistoryStore {
 public:
  static constexpr std::string_view fileName = "clipboard-history.json";
  static constexpr std::uintmax_t maxFileBytes = 16777216;

  struct LoadProblem {
    std::string reason;
    std::string description() const;
    bool operator==(const LoadProblem&) const = default;
  };
  using Loaded = std::variant<ClipboardHistory, LoadProblem>;

  explicit ClipboardHistoryStore(std::filesystem::path fileURL, BackupExclusion exclusion = {});

  const std::filesystem::path& fileURL() const { return fileURL_; }

  // Absent when there is no file. A file saved under larger limits is cut to these.
  std::optional<Loaded> load(std::size_t limit = ClipboardHistory::defaultLimit,
                             std::size_t maxBytes = ClipboardHistory::defaultMaxBytes) const;
  void save(const ClipboardHistory& history) const;
  // Loads, applies `body` and saves when it says it changed the list, all under the lock.
  // A saved list that cannot be read is left as it is for the user to look at: `body` is
  // not applied and the problem is returned.
  Loaded update(const std::function<bool(ClipboardHistory&)>& body,
                std::size_t limit = ClipboardHistory::defaultLimit,
                std::size_t maxBytes = ClipboardHistory::defaultMaxBytes) const;
  // Removes the file and what interrupted saves left; nothing there is not a failure.
  // (`delete` is taken by the language.)
  void deleteFile() const;

  // Whether anything is in the file's place.
  bool exists() const;
  bool isExcludedFromBackup() const;

  // Removes the temporary files of interrupted saves.
  void sweepTemporaryFiles() const;
  static bool isTemporaryName(std::string_view name);

 private:
  std::filesystem::path lockFile() const;
  void saveLocked(const ClipboardHistory& history) const;
  void sweepLocked() const;

  std::filesystem::path fileURL_;
  BackupExclusion exclusion_;
};

}  // namespace lumivale
