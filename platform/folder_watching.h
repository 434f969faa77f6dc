#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "core/files/reading-folder/folder_watcher.h"

namespace lumivale::FolderWatching {

// Watches `folder` and every folder inside it, as this system allows (a FolderWatching of the
// core). Throws Error naming the folder and the reason when it cannot be watched.
std::unique_ptr<FolderWatcher> start(const std::filesystem::path& folder,
                                     std::function<void()> changed);

}  // namespace lumivale::FolderWatching
