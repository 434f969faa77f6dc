#pragma once

#include <optional>
#include <string_view>

namespace lumivale {

enum class ClipDirection { macToLumivale, lumivaleToMac };

namespace ClipDirections {

// "macToLumivale" or "lumivaleToMac", as stored and exchanged.
std::string_view rawValue(ClipDirection direction);
std::optional<ClipDirection> fromRawValue(std::string_view text);
// A few words for display: "to Lumivale" or "to Mac".
std::string_view label(ClipDirection direction);

}  // namespace ClipDirections
}  // namespace lumivale
