#pragma once

#include <filesystem>

namespace lumivale::companion {

// The folder the running program is installed in, or an empty path when the system
// does not say. Used to look for an adb installed beside the program.
std::filesystem::path programFolder();

}  // namespace lumivale::companion
