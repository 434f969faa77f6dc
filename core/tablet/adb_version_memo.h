#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lumivale::AdbVersionMemo {

// A small file of executables that answered `adb version`, each with the size and
// change time it had then and the version it answered: a command that starts often
// need not ask again.
std::optional<std::string> rememberedVersion(const std::filesystem::path& memo,
                                             const std::filesystem::path& executable);
void remember(const std::filesystem::path& memo, const std::filesystem::path& executable,
              const std::string& version);

}  // namespace lumivale::AdbVersionMemo
