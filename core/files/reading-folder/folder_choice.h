#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumivale {

// Which folders may be a Reading folder. Each refusal is a ReadingFolderError (a
// RemotePathError for a tablet path that does not pass the path checks).
namespace ReadingFolderChoice {

// The computer's folder, made absolute with links resolved. Refused: the whole disk, the
// home folder and what holds it, the system's own folders, and the top of a cloud
// service's folder (its inside is fine).
std::filesystem::path macFolder(const std::filesystem::path& chosen,
                                const std::filesystem::path& home);

// The tablet's folder, validated: neither hidden nor the whole shared storage.
std::string tabletFolder(std::string_view chosen);

}  // namespace ReadingFolderChoice

}  // namespace lumivale
