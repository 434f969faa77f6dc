#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/files/transfer.h"
#include "core/stop_token.h"
#include "core/tablet/tools/tools_receipt.h"

namespace lumivale {

// Where the program's own copy of Android's tools comes from and goes to.
struct ToolsInstallOptions {
  std::string manifestUrl = "https://dl.google.com/android/repository/repository2-1.xml";
  std::filesystem::path supportFolder;  // holds "platform-tools"
  Seconds deadline = Seconds(900);      // for the whole install, manifest included
};

// Getting, checking and removing the program's own copy of Google's platform tools.
// Only one of these runs at a time per support folder (a lock file beside the copy).
namespace AndroidTools {

// The terms the user agrees to before anything is downloaded.
inline constexpr const char* termsUrl = "https://developer.android.com/studio/terms";

std::filesystem::path copyFolder(const std::filesystem::path& supportFolder);

// Reads Google's manifest, downloads the platform tools for this system, checks their
// size and checksum, unpacks them, checks that their adb answers, writes the receipt
// and moves the copy into place in one step. Any failure (ToolsError, FileSystemError)
// or a cancel (Cancelled) leaves the earlier copy, or none, exactly as it was.
ToolsReceipt install(const ToolsInstallOptions& options, TransferObserver* progress,
                     const StopToken& stop);

// Removes the copy in one step; false when there was none.
bool remove(const std::filesystem::path& supportFolder);

}  // namespace AndroidTools
}  // namespace lumivale
