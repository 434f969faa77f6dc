#include "core/clipboard/clip_direction.h"

namespace lumivale::ClipDirections {

std::string_view rawValue(ClipDirection direction) {
  return direction == ClipDirection::macToLumivale ? "macToLumivale" : "lumivaleToMac";
}

std::optional<ClipDirection> fromRawValue(std::string_view text) {
  for (auto direction : {ClipDirection::macToLumivale, ClipDirection::lumivaleToMac})
    if (rawValue(direction) == text) return direction;
  return std::nullopt;
}

std::string_view label(ClipDirection direction) {
  return direction == ClipDirection::macToLumivale ? "to Lumivale" : "to Mac";
}

}  // namespace lumivale::ClipDirections
