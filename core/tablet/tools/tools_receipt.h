#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace lumivale {

// What the program wrote down when it installed its own copy of Android's tools, kept
// inside that copy so both come into place in one step.
struct ToolsReceipt {
  std::string version;                       // "35.0.2"
  std::string source;                        // the archive's address
  std::string archiveChecksum;               // as Google's manifest gave it, e.g. "sha1:..."
  std::string installedAt;                   // UTC, ISO 8601
  std::map<std::string, std::string> files;  // path inside the copy -> SHA-256

  bool operator==(const ToolsReceipt&) const = default;

  static constexpr const char* fileName = "lumivale-receipt.json";

  // A receipt for every file now in `folder` (the receipt itself aside), dated now.
  static ToolsReceipt of(const std::filesystem::path& folder, std::string version,
                         std::string source, std::string archiveChecksum);
  // Writes it into `folder` atomically, mode 0600. Throws FileSystemError.
  void writeInto(const std::filesystem::path& folder) const;
  // The receipt in `folder`, or none when it is missing or cannot be read.
  static std::optional<ToolsReceipt> readFrom(const std::filesystem::path& folder);

  // Why `folder` is not what this receipt says was installed, or none when it is.
  std::optional<std::string> mismatch(const std::filesystem::path& folder) const;
};

// Why the copy in `folder` fails its check against its receipt, or none when it passes.
std::optional<std::string> checkOwnCopy(const std::filesystem::path& folder);

}  // namespace lumivale
