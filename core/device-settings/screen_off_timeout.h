#pragma once

#include <array>
#include <optional>
#include <string>

namespace lumivale {

// The screen-off times the tablet offers, in milliseconds as Android stores them.
enum class ScreenOffTimeout : int {
  oneMinute = 60000,
  twoMinutes = 120000,
  fiveMinutes = 300000,
  tenMinutes = 600000,
  thirtyMinutes = 1800000,
};

inline constexpr std::array<ScreenOffTimeout, 5> allScreenOffTimeouts{
    ScreenOffTimeout::oneMinute, ScreenOffTimeout::twoMinutes, ScreenOffTimeout::fiveMinutes,
    ScreenOffTimeout::tenMinutes, ScreenOffTimeout::thirtyMinutes};

// Exactly the five listed times; anything else (a vendor's 45 s, "never") is none of them.
std::optional<ScreenOffTimeout> screenOffTimeout(long long milliseconds);

inline int milliseconds(ScreenOffTimeout timeout) {
  return static_cast<int>(timeout);
}

// "1 min", "30 min".
std::string title(ScreenOffTimeout timeout);

}  // namespace lumivale
