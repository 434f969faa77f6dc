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

// Why a helper ended, in words: "the tablet disconnected", "the helper exited" (with the
// first line of what it said on standard error), or, when it never said it was ready,
// "the clipboard helper did not start on {serial}: {reason}".
std::string endText(const AdbStreamEnd& end, bool ready, const std::string& serial);

}  // namespace ClipHelper
}  // namespace lumivale
