#pragma once

#include <filesystem>

namespace lumivale::platform {

// Marks a file to be left out of backups, as far as the system has a way; best effort.
// On Linux no per-file mark is honoured by every backup tool: the file gets the "no dump"
// attribute (chattr +d), which dump, borg (--exclude-nodump) and bsdtar (--nodump) honour
// and rsync-based tools do not. File systems without file attributes (tmpfs, NFS) leave
// the file unmarked.
void excludeFromBackup(const std::filesystem::path& file);

// Whether the file carries that mark now.
bool isExcludedFromBackup(const std::filesystem::path& file);

}  // namespace lumivale::platform
