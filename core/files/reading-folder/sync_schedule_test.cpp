#include "core/files/reading-folder/sync_schedule.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

using namespace std::chrono_literals;
using Why = SyncSchedule::Why;

// Given a schedule past its first run at t0, with 2 s of quiet and 30 s at the longest.
class SyncScheduleTest : public ::testing::Test {
 protected:
  SyncScheduleTest() : schedule({.quiet = 2s, .longest = 30s}) {
    EXPECT_EQ(schedule.due(t0), Why::start);
    schedule.started();
  }
  SyncSchedule schedule;
  const SyncSchedule::Time t0 = SyncSchedule::Time() + 1000s;
};

TEST_F(SyncScheduleTest, NothingIsDueUntilSomethingChanges) {
  EXPECT_EQ(schedule.next(), std::nullopt);
  EXPECT_EQ(schedule.due(t0 + 3600s), std::nullopt);
}

TEST_F(SyncScheduleTest, ABurstOfWritesGivesOneRunOnceItHasBeenQuiet) {
  for (int i = 0; i < 10; ++i)
    schedule.changedHere(t0 + i * 100ms);
  const auto last = t0 + 900ms;
  EXPECT_EQ(schedule.next(), last + 2s);
  EXPECT_EQ(schedule.due(last + 1999ms), std::nullopt);
  EXPECT_EQ(schedule.due(last + 2s), Why::changedHere);
  schedule.started();
  EXPECT_EQ(schedule.due(last + 1h), std::nullopt);
}

TEST_F(SyncScheduleTest, AFolderWrittenToWithoutPauseRunsAtTheLongest) {
  for (auto at = t0; at < t0 + 40s; at += 1s) {
    schedule.changedHere(at);
    if (schedule.due(at)) {
      EXPECT_EQ(at, t0 + 30s);
      schedule.started();
      // What is written from then on settles anew.
      EXPECT_EQ(schedule.next(), std::nullopt);
    }
  }
  EXPECT_EQ(schedule.next(), t0 + 39s + 2s);
}

TEST_F(SyncScheduleTest, ChangesSeenLateStillSettleByWhenTheyHappened) {
  schedule.changedHere(t0 + 5s);
  schedule.changedHere(t0 + 1s);  // reported after a long run
  EXPECT_EQ(schedule.next(), t0 + 7s);
}

TEST_F(SyncScheduleTest, NothingRunsWhileTheTabletIsAwayAndItsReturnRunsAtOnce) {
  EXPECT_FALSE(schedule.tabletSeen(false));
  EXPECT_TRUE(schedule.tabletAway());
  schedule.changedHere(t0);
  EXPECT_EQ(schedule.next(), std::nullopt);
  EXPECT_EQ(schedule.due(t0 + 1h), std::nullopt);
  EXPECT_FALSE(schedule.tabletSeen(false));

  EXPECT_TRUE(schedule.tabletSeen(true));
  EXPECT_EQ(schedule.due(t0 + 1h), Why::tabletBack);
  schedule.started();
  // That run read the changes made while it was away.
  EXPECT_EQ(schedule.due(t0 + 2h), std::nullopt);
}

TEST_F(SyncScheduleTest, ATabletSeenAgainWhileItWasThereIsNoReturn) {
  EXPECT_FALSE(schedule.tabletSeen(true));
  EXPECT_EQ(schedule.due(t0 + 1h), std::nullopt);
}

}  // namespace
}  // namespace lumivale
