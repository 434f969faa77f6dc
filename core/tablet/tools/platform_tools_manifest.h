#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumivale {

// The platform-tools archive that Google's repository manifest offers for one system.
struct PlatformToolsArchive {
  std::string version;  // "35.0.2"
  std::string url;      // as the manifest gives it, usually relative to the manifest
  std::uint64_t size = 0;
  std::string checksumType;  // "sha1" or "sha256"
  std::string checksum;      // lowercase hex

  bool operator==(const PlatformToolsArchive&) const = default;
};

namespace PlatformToolsManifest {

// The manifest's name for this computer's system: "linux" or "macosx".
std::string_view hostOs();
// Its name for this computer's processor: "x64" or "aarch64".
std::string_view hostArch();

// The newest stable platform-tools archive for `hostOs` (and `hostArch`, where an
// archive names one). Throws ToolsError when the manifest cannot be read or offers none.
PlatformToolsArchive newestFor(std::string_view manifestXml, std::string_view hostOs,
                               std::string_view hostArch);

}  // namespace PlatformToolsManifest
}  // namespace lumivale
