#include "companion/adb_looks_text.h"

#include <algorithm>

#include <fmt/format.h>

namespace lumivale::companion {

std::string adbLooksText(const std::vector<AdbCandidateLook>& looks) {
  auto used = std::find_if(looks.cbegin(), looks.cend(),
                           [](const AdbCandidateLook& look) { return !look.problem; });
  std::string text;
  if (used == looks.cend()) {
    text = "adb: none usable\n";
  } else {
    text = fmt::format("adb: {} ({})", used->candidate.path.string(),
                       sourceName(used->candidate.source));
    if (used->resolved && *used->resolved != used->candidate.path)
      text += " -> " + used->resolved->string();
    if (used->version) text += ", version " + *used->version;
    text += "\n";
  }
  for (auto look = looks.cbegin(); look != looks.cend(); ++look) {
    if (look == used) continue;
    text += fmt::format("  {:<15} {}: {}\n", sourceName(look->candidate.source),
                        look->candidate.path.string(),
                        look->problem.value_or("usable, but comes later"));
  }
  return text;
}

}  // namespace lumivale::companion
