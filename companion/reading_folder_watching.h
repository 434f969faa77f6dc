#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "core/files/adb_files.h"
#include "core/files/reading-folder/reading_folder_sync.h"
#include "core/files/reading-folder/reading_folder_watch.h"
#include "core/stop_token.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::companion {

// Keeps `folder` synced to the tablet of `files` until `stop` is cancelled: the folder
// watched on this computer, adb's device list watched for the tablet, and every event told
// to `observer` on the caller's thread. `watching` is called once both watchers are up.
void watchReadingFolder(AdbBridge& bridge, const AdbFiles& files,
                        const ReadingFolderSync::Options& options,
                        const std::filesystem::path& folder, ReadingFolderWatchObserver& observer,
                        const StopToken& stop, const std::function<void()>& watching);

// What a watch event says, on one line: "syncing (changes here)", the run's summary line,
// "the tablet is back"... Progress says nothing.
std::string watchEventLine(const ReadingFolderWatchEvent& event);

}  // namespace lumivale::companion
