#pragma once

#include <string_view>

namespace lumivale {

// The program's bundle identifier, which names what it keeps outside its settings
// folder: its caches folder and its keychain items.
inline constexpr std::string_view bundleIdentifier = "com.lumivale.mac";

}  // namespace lumivale
