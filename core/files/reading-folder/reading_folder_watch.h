#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/files/reading-folder/reading_folder_sync.h"
#include "core/files/reading-folder/sync_schedule.h"
#include "core/observer.h"
#include "core/stop_token.h"

namespace lumivale {

// What the folder watcher does, as it does it.
struct ReadingFolderWatchEvent {
  enum class Kind {
    started,     // a sync run starts, for `why`
    finished,    // it ended with `summary`
    failed,      // it stopped with `failure`; the watcher goes on
    tabletAway,  // nothing runs until the tablet is back
    tabletBack,
  };
  Kind kind = Kind::started;
  SyncSchedule::Why why = SyncSchedule::Why::start;
  std::optional<ReadingFolderSummary> summary;
  std::string failure;

  bool operator==(const ReadingFolderWatchEvent&) const = default;
};
using ReadingFolderWatchObserver = Observer<ReadingFolderWatchEvent>;

// Keeps the tablet up to date by itself: a sync run at the start, after changes on the
// computer have settled, and when the tablet comes back (SyncSchedule). The sources of
// changes (a FolderWatcher on the computer's folder, a DeviceWatcher on adb's device list)
// report through folderChanged() and devicesChanged(); run() does the work on the caller's
// thread, which is also where every event is delivered.
class ReadingFolderWatch {
 public:
  struct Hooks {
    // One sync run (ReadingFolderSync::run), stopped by `stop`.
    std::function<ReadingFolderSummary(const StopToken& stop)> sync;
    // Whether adb lists the tablet ready now.
    std::function<bool(const StopToken& stop)> tabletReady;
  };

  ReadingFolderWatch(Hooks hooks, ReadingFolderWatchObserver& observer,
                     SyncSchedule::Timing timing = {});
  ReadingFolderWatch(const ReadingFolderWatch&) = delete;
  ReadingFolderWatch& operator=(const ReadingFolderWatch&) = delete;

  // Any thread, any time.
  void folderChanged();
  void devicesChanged();

  // Watches until `stop` is cancelled, which also stops a run under way.
  void run(const StopToken& stop);

 private:
  void syncOnce(SyncSchedule::Why why, SyncSchedule& schedule, const StopToken& stop);
  bool tabletReady(const StopToken& stop) const;
  void tell(ReadingFolderWatchEvent told);

  const Hooks hooks_;
  ReadingFolderWatchObserver& observer_;
  const SyncSchedule::Timing timing_;
  std::mutex lock_;
  std::condition_variable wake_;
  std::vector<SyncSchedule::Time> changes_;  // guarded by lock_; not yet given to the schedule
  bool devicesChanged_ = false;              // guarded by lock_
};

}  // namespace lumivale
