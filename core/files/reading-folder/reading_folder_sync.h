#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/files/adb_files.h"
#include "core/files/reading-folder/reading_folder_limits.h"
#include "core/files/reading-folder/reading_folder_note.h"
#include "core/files/reading-folder/reading_folder_plan.h"
#include "core/observer.h"

namespace lumivale {

// What one sync run did, for people.
struct ReadingFolderSummary {
  int copied = 0;    // new copies, adopted files included
  int replaced = 0;  // unchanged tablet copies replaced by a newer computer version
  int keptBoth = 0;  // "(from Mac)" copies beside a copy changed on the tablet
  int removed = 0;
  int renamed = 0;
  int foldersMade = 0;
  int foldersRemoved = 0;
  int unchanged = 0;
  int held = 0;
  std::vector<ReadingFolderNote> notes;
  // Steps that failed, each with why; the others went on.
  std::vector<ReadingFolderNote> failures;
  // The plan's actions carried out, in the plan's order.
  std::vector<ReadingFolderPlan::Action> done;

  bool operator==(const ReadingFolderSummary&) const = default;
};

// Where a sync run is: steps and bytes done of the plan's, and the summary once it ends.
struct ReadingFolderSyncEvent {
  int stepsDone = 0;
  int steps = 0;
  std::int64_t bytesDone = 0;
  std::int64_t bytes = 0;
  std::string path;  // the computer file (or tablet folder) being worked on
  std::optional<ReadingFolderSummary> finished;

  bool operator==(const ReadingFolderSyncEvent&) const = default;
};
using ReadingFolderSyncObserver = Observer<ReadingFolderSyncEvent>;

// Copies the computer's Reading folder to the tablet. A run takes the tablet's lock, settles
// what an interrupted run left (the set-aside journal), reads both sides, plans and carries
// the plan out through AdbFiles' staged steps, saving the record after every step: a run
// stopped at any moment leaves no half-written file under a user-visible name, and the next
// one neither copies again what was finished nor misses what was not. A change made on the
// tablet is never overwritten and a tablet item without a record is never touched.
// Cancelled through the AdbFiles' stop token.
namespace ReadingFolderSync {

struct Options {
  std::filesystem::path settingsFolder;  // where the records are kept
  std::filesystem::path macFolder;
  std::string tabletFolder;  // absolute
  std::string tablet;        // the tablet's own serial, which names its record
  bool removeDeleted = false;
  ReadingFolder::Limits limits = ReadingFolder::Limits::standard;
};

// The plan the next run carries out, when nothing changes in between (and no interrupted
// run is left to settle). Changes nothing.
ReadingFolderPlan preview(const AdbFiles& files, const Options& options);

// One run. A step that fails is listed in the summary and the run goes on; what stops the
// whole run (the lock, the record, the tablet gone, a cancel) is thrown.
ReadingFolderSummary run(const AdbFiles& files, const Options& options,
                         ReadingFolderSyncObserver* observer = nullptr);

}  // namespace ReadingFolderSync

}  // namespace lumivale
