#pragma once

#include <filesystem>
#include <string>

namespace lumivale::testing {

// Google's platform tools as a test serves them: a real zip holding the real adb, and the
// manifest that names it.

std::string readFile(const std::filesystem::path& file);

// A real zip, as Google ships the tools: the real adb as "platform-tools/adb". Made in
// `folder`; its bytes are returned.
std::string platformToolsZip(const std::filesystem::path& folder);

std::string sha1Of(const std::string& bytes);

// Google's repository manifest naming one archive for Linux, "platform-tools-linux.zip"
// beside the manifest, of `zip`'s size and with the checksum `sha1`.
std::string manifestFor(const std::string& zip, const std::string& sha1);

}  // namespace lumivale::testing
