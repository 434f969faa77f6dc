#pragma once

#include <filesystem>
#include <functional>

#include "companion/app_settings.h"

namespace lumivale::companion {

// "app-settings.json" beside config.json, read afresh by every call. Changes are a
// read-modify-write under an advisory lock on "app-settings.lock", so the app and a
// command-line run never lose each other's changes; the file is replaced atomically with
// mode 0600, and keys this program does not know are kept. A damaged file reads as the
// defaults (and a value of the wrong type as its default), said in the log; the next
// change sets the damaged file aside as "app-settings.json.damaged" before writing.
// Failures to make the folder or write the file throw FileSystemError.
class AppSettingsStore {
 public:
  explicit AppSettingsStore(std::filesystem::path folder);
  // The store in the settings folder.
  static AppSettingsStore standard();

  std::filesystem::path file() const { return folder_ / "app-settings.json"; }

  AppSettings load() const;
  // Reads, applies `body`, writes and returns what was written, all under the lock.
  // A failing body writes nothing.
  AppSettings update(const std::function<void(AppSettings&)>& body) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace lumivale::companion
