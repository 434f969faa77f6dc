#include "core/files/reading-folder/reading_folder_watch.h"

#include <utility>

#include "core/error.h"

namespace lumivale {

using Kind = ReadingFolderWatchEvent::Kind;

namespace {

ReadingFolderWatchEvent event(Kind kind, SyncSchedule::Why why = SyncSchedule::Why::start) {
  ReadingFolderWatchEvent made;
  made.kind = kind;
  made.why = why;
  return made;
}

}  // namespace

ReadingFolderWatch::ReadingFolderWatch(Hooks hooks, ReadingFolderWatchObserver& observer,
                                       SyncSchedule::Timing timing)
    : hooks_(std::move(hooks)), observer_(observer), timing_(timing) {}

void ReadingFolderWatch::folderChanged() {
  std::lock_guard guard(lock_);
  // A burst of writes is settled by its first and last times; a list of every event is
  // not needed, and would grow without end while a run takes long.
  if (changes_.size() == 2) changes_.pop_back();
  changes_.push_back(SyncSchedule::Clock::now());
  wake_.notify_all();
}

void ReadingFolderWatch::devicesChanged() {
  std::lock_guard guard(lock_);
  devicesChanged_ = true;
  wake_.notify_all();
}

void ReadingFolderWatch::tell(ReadingFolderWatchEvent told) {
  observer_.notify(told);
}

bool ReadingFolderWatch::tabletReady(const StopToken& stop) const {
  try {
    return hooks_.tabletReady(stop);
  } catch (const Error&) {
    return false;  // adb not answering tells the same
  }
}

void ReadingFolderWatch::run(const StopToken& stop) {
  auto wakeOnStop = stop.hold([this] {
    std::lock_guard guard(lock_);
    wake_.notify_all();
  });
  SyncSchedule schedule(timing_);
  while (true) {
    std::vector<SyncSchedule::Time> changes;
    bool devices = false;
    {
      std::unique_lock guard(lock_);
      const auto woken = [&] { return stop.isCancelled() || !changes_.empty() || devicesChanged_; };
      if (const auto next = schedule.next()) {
        wake_.wait_until(guard, *next, woken);
      } else {
        wake_.wait(guard, woken);
      }
      changes.swap(changes_);
      std::swap(devices, devicesChanged_);
    }
    if (stop.isCancelled()) return;
    for (const auto at : changes)
      schedule.changedHere(at);
    if (devices) {
      const bool wasAway = schedule.tabletAway();
      const bool ready = tabletReady(stop);
      // A look cut short by the stop says nothing of the tablet.
      if (stop.isCancelled()) return;
      if (schedule.tabletSeen(ready)) {
        tell(event(Kind::tabletBack));
      } else if (!ready && !wasAway) {
        tell(event(Kind::tabletAway));
      }
    }
    if (const auto why = schedule.due(SyncSchedule::Clock::now())) syncOnce(*why, schedule, stop);
  }
}

void ReadingFolderWatch::syncOnce(SyncSchedule::Why why, SyncSchedule& schedule,
                                  const StopToken& stop) {
  schedule.started();
  tell(event(Kind::started, why));
  try {
    ReadingFolderSummary summary = hooks_.sync(stop);
    auto finished = event(Kind::finished, why);
    finished.summary = std::move(summary);
    tell(std::move(finished));
  } catch (const Error& error) {
    if (stop.isCancelled()) return;
    auto failed = event(Kind::failed, why);
    failed.failure = error.message();
    tell(std::move(failed));
    // A tablet that went away is waited for; its return runs again. With the tablet
    // there (the folder's lock held by another sync, say), the changes this run took are
    // still to carry: it runs again once things have been quiet.
    const bool ready = tabletReady(stop);
    if (stop.isCancelled()) return;
    if (ready) {
      schedule.changedHere(SyncSchedule::Clock::now());
    } else {
      schedule.tabletSeen(false);
      tell(event(Kind::tabletAway));
    }
  }
}

}  // namespace lumivale
