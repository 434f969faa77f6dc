#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumivale {

// One file of an archive: its name inside it and its bytes.
struct ArchiveMember {
  std::string name;
  std::string content;
};

// Writes `members` as one gzip-compressed tar file (libarchive, loaded on first use),
// first beside `file` and then moved over it, so no half archive is ever left; mode
// 0600, since it describes this machine. Throws Error saying what failed.
void writeTarGz(const std::filesystem::path& file, const std::vector<ArchiveMember>& members);

}  // namespace lumivale
