#pragma once

#include <filesystem>

namespace lumivale::platform {

// Marks a file copied from the tablet as downloaded, so the desktop treats it with
// the care it gives downloads. 0 means done. Linux has no such mark.
int markQuarantine(const std::filesystem::path& file);

}  // namespace lumivale::platform
