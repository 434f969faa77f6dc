#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/adb_runner.h"

namespace lumivale {

// Installs the clipboard helper on the tablet and says how to run it.
namespace ClipHelper {

inline constexpr std::string_view remotePath = "/data/local/tmp/lumivale-clip.dex";
inline constexpr std::string_view mainClass = "com.lumivale.clip.Main";

// The helper's dex as the program carries it.
struct Embedded {
  std::string_view base64;
  std::string_view sha256;

  static Embedded shipped();
};

// Makes sure the tablet holds the helper, pushing it when its hash differs; true when it
// pushed. Throws ClipError when the embedded helper is corrupt or the copy on the tablet
// does not match after the push, AdbError when adb fails.
bool ensureInstalled(AdbRunner& shell, AdbFileRunner& files, const std::string& serial,
                     const StopToken* stop = nullptr, const Embedded& helper = Embedded::shipped());

// The adb arguments that run the helper; `since` (ms of the tablet's clock) keeps it from
// reporting clips copied before then.
std::vector<std::string> arguments(const std::string& serial,
                                   std::optional<std::int64_t> since = std::nullopt);

}  // namespace ClipHelper
}  // namespace lumivale
