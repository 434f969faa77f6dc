#pragma once

#include <filesystem>

namespace lumivale::AdbVersionMemo {

// A small file of executables that answered `adb version`, each with the size and
// change time it had then: a command that starts often need not ask again.
bool remembers(const std::filesystem::path& memo, const std::filesystem::path& executable);
void remember(const std::filesystem::path& memo, const std::filesystem::path& executable);

}  // namespace lumivale::AdbVersionMemo
