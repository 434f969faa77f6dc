#pragma once

#include <filesystem>

#include <spdlog/logger.h>

namespace lumivale {

inline constexpr const char* logDirectoryEnvironmentKey = "LUMIVALE_LOG_DIR";

// LUMIVALE_LOG_DIR when it is an absolute path, else "logs" in the settings folder.
std::filesystem::path logDirectory();

// The program's log: "lumivale.log" in logDirectory(), rotated, every line passed
// through redactSecrets. Opened on first use; when the folder cannot be made the
// log goes nowhere rather than failing the work that wanted to log.
spdlog::logger& logger();

}  // namespace lumivale
