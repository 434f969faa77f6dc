#pragma once

#include <string>
#include <string_view>

#include "companion/app_settings.h"
#include "core/files/reading-folder/reading_folder_plan.h"
#include "core/files/reading-folder/reading_folder_sync.h"

namespace lumivale::companion {

// Where the Reading folder goes on the tablet unless the user chooses another place.
inline constexpr std::string_view standardTabletFolder = "/sdcard/Documents/From Mac";

// The tablet folder chosen in the app's settings, or the standard one.
std::string readingFolderTabletFolder(const AppSettings& settings);

// A sync run of the folder chosen in `settings` (which must name one) to `tablet`, the
// tablet's own serial, with its records in the settings folder.
ReadingFolderSync::Options readingFolderSyncOptions(const AppSettings& settings,
                                                    const std::string& tablet);

// One step of a plan for people: what is done ("copy", "keep both") and to what, with
// tablet names shown safely.
struct ReadingFolderStepText {
  std::string verb;
  std::string detail;
};
ReadingFolderStepText describeStep(const ReadingFolderPlan::Action& action);

// What a run did, on one line: "2 copied, 1 replaced, ... 0 failed".
std::string summaryLine(const ReadingFolderSummary& summary);

}  // namespace lumivale::companion
