#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "core/settings/config_unreadable.h"
#include "core/settings/file_system_error.h"
#include "core/settings/lumivale_config.h"

namespace lumivale {

// The only way to read and change "config.json". Every operation rereads the file
// under an advisory lock on "config.lock", so two processes never lose each
// other's changes. Failures: ConfigUnreadable for a file that cannot be used,
// FileSystemError when the folder or the file cannot be made or written.
namespace ConfigStore {

inline constexpr const char* directoryEnvironmentKey = "LUMIVALE_CONFIG_DIR";

// LUMIVALE_CONFIG_DIR when it is an absolute path, else the user's data folder
// (${XDG_DATA_HOME:-~/.local/share}/lumivale).
std::filesystem::path directory();
std::filesystem::path fileURL();

// The settings; on a machine without a file, the defaults, which are written first.
LumivaleConfig load();
void save(const LumivaleConfig& config);

// Reads, applies `body`, writes and returns what was written, all under the lock.
// When the file cannot be read, continues from `ifUnreadable` if given, else fails
// and writes nothing. A failing body writes nothing either.
LumivaleConfig update(const std::optional<LumivaleConfig>& ifUnreadable,
                      const std::function<void(LumivaleConfig&)>& body);
LumivaleConfig update(const std::function<void(LumivaleConfig&)>& body);

// The short reason for a failed decode, as ConfigUnreadable carries it.
std::string decodeReason(const std::exception& error);

}  // namespace ConfigStore
}  // namespace lumivale
