#include "core/stop_token.h"

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"

namespace lumivale {
namespace {

TEST(StopTokenTest, CancellingAParentCancelsItsChildrenButNotTheOtherWayRound) {
  StopToken command;
  StopToken step = command.child();
  StopToken inner = step.child();
  StopToken sibling = command.child();

  inner.cancel();
  EXPECT_TRUE(inner.isCancelled());
  EXPECT_FALSE(step.isCancelled());
  EXPECT_FALSE(command.isCancelled());

  command.cancel();
  EXPECT_TRUE(step.isCancelled());
  EXPECT_TRUE(sibling.isCancelled());
  // A child made after the cancel is born cancelled.
  EXPECT_TRUE(command.child().isCancelled());
  EXPECT_THROW(step.throwIfCancelled(), Cancelled);
}

TEST(StopTokenTest, ACopyIsTheSameToken) {
  StopToken token;
  StopToken copy = token;
  copy.cancel();
  EXPECT_TRUE(token.isCancelled());
  EXPECT_NO_THROW(StopToken().throwIfCancelled());
}

TEST(StopTokenTest, HoldsAreStoppedOnceAndNeverAfterTheirRelease) {
  StopToken token;
  int stoppedKept = 0;
  int stoppedReleased = 0;
  auto kept = token.hold([&] { ++stoppedKept; });
  {
    auto released = token.hold([&] { ++stoppedReleased; });
  }
  token.cancel();
  token.cancel();
  EXPECT_EQ(stoppedKept, 1);
  EXPECT_EQ(stoppedReleased, 0);
  kept.release();
  EXPECT_EQ(stoppedKept, 1);

  // Held after the cancel: stopped at once, and only then.
  int late = 0;
  auto lateHold = token.hold([&] { ++late; });
  EXPECT_EQ(late, 1);
}

TEST(StopTokenTest, AChildsHoldIsStoppedByTheParentsCancel) {
  StopToken command;
  StopToken step = command.child();
  bool stopped = false;
  auto held = step.hold([&] { stopped = true; });
  command.cancel();
  EXPECT_TRUE(stopped);
}

TEST(StopTokenTest, ACancelFromAnotherThreadUnblocksAHeldSocket) {
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  StopToken token;
  std::atomic<bool> reading{false};
  auto reader = std::async(std::launch::async, [&] {
    auto held = token.holdSocket(pair[0]);
    reading = true;
    char byte;
    return ::read(pair[0], &byte, 1);  // nothing is ever written
  });
  while (!reading)
    std::this_thread::yield();
  token.cancel();
  EXPECT_EQ(reader.get(), 0);  // shut down: end of stream
  ::close(pair[0]);
  ::close(pair[1]);
}

TEST(StopTokenTest, ReleasingAHoldWaitsForItsStopUnderWay) {
  StopToken token;
  std::promise<void> stopEntered;
  std::promise<void> letStopFinish;
  std::atomic<bool> stopFinished{false};
  auto held = std::make_unique<StopToken::Hold>(token.hold([&] {
    stopEntered.set_value();
    letStopFinish.get_future().wait();
    stopFinished = true;
  }));
  auto cancelling = std::async(std::launch::async, [&] { token.cancel(); });
  stopEntered.get_future().wait();
  auto releasing = std::async(std::launch::async, [&] {
    held.reset();
    return stopFinished.load();
  });
  letStopFinish.set_value();
  EXPECT_TRUE(releasing.get());
  cancelling.get();
}

TEST(StopTokenTest, ADeadlineCutsEachStepToWhatRemains) {
  EXPECT_EQ(StopToken().budget(Seconds(30)), Seconds(30));
  EXPECT_FALSE(StopToken().deadline());

  StopToken command = StopToken::within(Seconds(3600));
  EXPECT_LE(command.budget(Seconds(7200)), Seconds(3600));
  EXPECT_EQ(command.budget(Seconds(10)), Seconds(10));

  // A child keeps the earlier of its own deadline and its parent's.
  StopToken tight = command.child(Seconds(5));
  EXPECT_LE(tight.budget(Seconds(30)), Seconds(5));
  EXPECT_LE(command.child(Seconds(7200)).budget(Seconds(7200)), Seconds(3600));

  // A spent budget leaves nothing, and is not a cancellation.
  StopToken spent = StopToken::within(Seconds(0));
  EXPECT_EQ(spent.budget(Seconds(30)), Seconds(0));
  EXPECT_FALSE(spent.isCancelled());
}

}  // namespace
}  // namespace lumivale
