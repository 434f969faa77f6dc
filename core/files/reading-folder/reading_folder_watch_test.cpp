#include "core/files/reading-folder/reading_folder_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/cancelled.h"

namespace lumivale {
namespace {

using Kind = ReadingFolderWatchEvent::Kind;
using Why = SyncSchedule::Why;
using ::testing::ElementsAre;

// Given a watch whose runs and looks at the tablet are scripted, and whose changes settle at
// once: what each event makes it do next is decided by `onEvent`, on the watch's own thread,
// so every step comes in a known order.
class ReadingFolderWatchTest : public ::testing::Test {
 protected:
  ReadingFolderWatchTest()
      : recorder([this](const ReadingFolderWatchEvent& event) {
          events.push_back(event.kind);
          if (event.kind == Kind::started) reasons.push_back(event.why);
          if (onEvent) onEvent(event);
        }),
        watch({.sync = [this](const StopToken& stop) { return sync(stop); },
               .tabletReady = [this](const StopToken&) { return ready(); }},
              recorder, {.quiet = std::chrono::seconds(0), .longest = std::chrono::seconds(0)}) {}

  std::function<ReadingFolderSummary(const StopToken&)> sync;
  std::function<void(const ReadingFolderWatchEvent&)> onEvent;
  std::function<bool()> ready = [] { return true; };
  std::vector<Kind> events;
  std::vector<Why> reasons;
  ObserverFunction<ReadingFolderWatchEvent> recorder;
  ReadingFolderWatch watch;
  StopToken stop;
};

TEST_F(ReadingFolderWatchTest, ABurstOfChangesSeenTogetherGivesOneRun) {
  int runs = 0;
  sync = [&](const StopToken&) {
    ReadingFolderSummary summary;
    summary.copied = ++runs;
    return summary;
  };
  onEvent = [&](const ReadingFolderWatchEvent& event) {
    if (event.kind != Kind::finished) return;
    if (event.summary->copied == 1) {
      for (int i = 0; i < 5; ++i)
        watch.folderChanged();
    } else {
      stop.cancel();
    }
  };
  watch.run(stop);
  EXPECT_EQ(runs, 2);
  EXPECT_THAT(reasons, ElementsAre(Why::start, Why::changedHere));
}

TEST_F(ReadingFolderWatchTest, ARunThatFailsWithTheTabletGoneWaitsForItsReturn) {
  int runs = 0;
  sync = [&](const StopToken&) -> ReadingFolderSummary {
    if (++runs == 1) throw Error("Your Lumivale is not answering. Wake it, or plug it in again.");
    return {};
  };
  // The look after the failure finds it gone, and so does the next one, for a change of
  // adb's list that is not its return; the third look finds it back.
  int looks = 0;
  ready = [&] {
    if (++looks == 2) watch.devicesChanged();
    return looks >= 3;
  };
  onEvent = [&](const ReadingFolderWatchEvent& event) {
    if (event.kind == Kind::failed) {
      EXPECT_EQ(event.failure, "Your Lumivale is not answering. Wake it, or plug it in again.");
    } else if (event.kind == Kind::tabletAway) {
      // Changes made while it is away run nothing by themselves.
      watch.folderChanged();
      watch.devicesChanged();
    } else if (event.kind == Kind::finished) {
      stop.cancel();
    }
  };
  watch.run(stop);
  EXPECT_EQ(looks, 3);
  EXPECT_THAT(events, ElementsAre(Kind::started, Kind::failed, Kind::tabletAway, Kind::tabletBack,
                                  Kind::started, Kind::finished));
  EXPECT_THAT(reasons, ElementsAre(Why::start, Why::tabletBack));
}

TEST_F(ReadingFolderWatchTest, ARunRefusedWithTheTabletThereRunsAgainOnceQuiet) {
  int runs = 0;
  sync = [&](const StopToken&) -> ReadingFolderSummary {
    if (++runs == 1) throw Error("another sync of this Reading folder is under way");
    return {};
  };
  onEvent = [&](const ReadingFolderWatchEvent& event) {
    if (event.kind == Kind::finished) stop.cancel();
  };
  watch.run(stop);
  EXPECT_EQ(runs, 2);
  EXPECT_THAT(events, ElementsAre(Kind::started, Kind::failed, Kind::started, Kind::finished));
  EXPECT_THAT(reasons, ElementsAre(Why::start, Why::changedHere));
}

TEST_F(ReadingFolderWatchTest, AStopWhileLookingAtTheTabletTellsNoAbsence) {
  ready = [&]() -> bool {
    stop.cancel();
    throw Cancelled();
  };
  onEvent = [&](const ReadingFolderWatchEvent& event) {
    if (event.kind == Kind::finished) watch.devicesChanged();
  };
  sync = [](const StopToken&) { return ReadingFolderSummary{}; };
  watch.run(stop);
  EXPECT_THAT(events, ElementsAre(Kind::started, Kind::finished));
}

TEST_F(ReadingFolderWatchTest, AStopDuringARunEndsTheWatchWithoutAFailure) {
  sync = [&](const StopToken& runStop) -> ReadingFolderSummary {
    stop.cancel();
    runStop.throwIfCancelled();
    return {};
  };
  watch.run(stop);
  EXPECT_THAT(events, ElementsAre(Kind::started));
}

}  // namespace
}  // namespace lumivale
