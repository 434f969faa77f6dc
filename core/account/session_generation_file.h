#pragma once

#include <filesystem>
#include <string>

namespace lumivale {

// Announces changes of the stored session to other processes: its text changes
// whenever the stored token does, so a reader that saw the same text twice knows
// the token did not change in between. Named "session-generation".
struct SessionGenerationFile {
  static constexpr const char* fileName = "session-generation";
  static constexpr const char* changingPrefix = "changing-";
  static constexpr const char* unreadablePrefix = "unreadable-";

  std::filesystem::path url;

  bool operator==(const SessionGenerationFile&) const = default;

  static SessionGenerationFile in(const std::filesystem::path& folder) {
    return {folder / fileName};
  }

  // The current generation; "changing-..." while a change is under way,
  // "unreadable-..." when the file cannot be read. Never fails.
  std::string read() const;
  // Marks a change as under way. Throws FileSystemError.
  void markChanging() const;
  // Ends a change with a new generation. Throws FileSystemError.
  void advance() const;
};

}  // namespace lumivale
