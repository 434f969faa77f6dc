#pragma once

#include <filesystem>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace lumivale {

inline constexpr const char* logDirectoryEnvironmentKey = "LUMIVALE_LOG_DIR";

// LUMIVALE_LOG_DIR when it is an absolute path, else "logs" in the settings folder.
std::filesystem::path logDirectory();

enum class LogLevel { info, warning };

// One line of the program's log: "lumivale.log" in logDirectory(), rotated, every line
// passed through redactSecrets and written at once. Opened on first use; when the
// folder cannot be made the log goes nowhere rather than failing the work that logs.
void logLine(LogLevel level, std::string_view message);

// Drops every later log line, so that nothing makes the log again once the program's
// own files are being removed.
void stopLogging();

// Also writes every later log line, redacted, to standard error (a front end's verbose
// mode). Off until asked for.
void echoLogToStandardError(bool echo);

template <typename... Args>
void logInfo(fmt::format_string<Args...> format, Args&&... args) {
  logLine(LogLevel::info, fmt::format(format, std::forward<Args>(args)...));
}

template <typename... Args>
void logWarning(fmt::format_string<Args...> format, Args&&... args) {
  logLine(LogLevel::warning, fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace lumivale
