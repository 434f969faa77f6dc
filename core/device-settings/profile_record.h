#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/device-settings/setting_value.h"
#include "core/settings/file_lock.h"

namespace lumivale {

// One setting a profile changed: what the tablet held before, to put back, and what it
// read back after the profile's write, to tell whether the user changed it since.
struct ProfileChange {
  std::string id;
  SettingValue before;
  std::optional<SettingValue> set;  // none: the write did not happen or failed

  bool operator==(const ProfileChange&) const = default;
};

// What the active profile changed on one tablet. A second profile applied on top keeps
// the first one's `before` values, so a restore returns to how the tablet was.
struct ProfileRecord {
  std::string serial;
  std::string profile;  // the active profile's name
  std::string since;    // when it was applied, UTC, "2026-11-22T18:04:05Z"
  std::vector<ProfileChange> changes;

  bool operator==(const ProfileRecord&) const = default;
};

// The records, one JSON file per tablet in a folder of the settings folder, each
// written atomically with mode 0600.
class ProfileRecordStore {
 public:
  static constexpr const char* folderName = "profiles";

  explicit ProfileRecordStore(std::filesystem::path folder) : folder_(std::move(folder)) {}
  // The folder "profiles" in the settings folder.
  static ProfileRecordStore standard();

  // The file of one tablet: its serial with anything but letters, digits, "-", "_" and
  // "." written as %XX, so no two serials share a file.
  std::filesystem::path fileFor(const std::string& serial) const;

  // None when no profile is active there. Throws Error naming the file when it cannot
  // be used, FileSystemError when it cannot be read.
  std::optional<ProfileRecord> load(const std::string& serial) const;
  // Holds the tablet's record for the whole of an apply or a restore, so that the app and
  // a command-line run never save over each other's values (best effort, as every lock of
  // the settings folder). Throws FileSystemError when the folder cannot be made.
  std::unique_ptr<FileLock> lock(const std::string& serial) const;
  void save(const ProfileRecord& record) const;
  void remove(const std::string& serial) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace lumivale
