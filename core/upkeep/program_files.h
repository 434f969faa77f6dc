#pragma once

namespace lumivale::ProgramFiles {

// Files and folders the program keeps in its settings folder that are named nowhere else
// in this library.
inline constexpr const char* clipboardHistory = "clipboard-history.json";
inline constexpr const char* readingFolderRecords = "Reading folder";
inline constexpr const char* platformTools = "platform-tools";

// Where the clipboard helper is pushed on the tablet.
inline constexpr const char* clipboardHelper = "/data/local/tmp/lumivale-clip.dex";

}  // namespace lumivale::ProgramFiles
