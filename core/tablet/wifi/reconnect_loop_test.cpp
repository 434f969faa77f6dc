#include "core/tablet/wifi/reconnect_loop.h"

#include <deque>
#include <vector>

#include <gtest/gtest.h>

#include "core/cancelled.h"

namespace lumivale::WifiReconnect {
namespace {

// Answers each wait from a script at once, without waiting, and keeps the time-outs it
// was asked for; at the end of the script it cancels the loop.
class ScriptedChanges : public NetworkChanges {
 public:
  ScriptedChanges(std::deque<bool> script, StopToken stop)
      : script_(std::move(script)), stop_(std::move(stop)) {}
  bool waitForChange(Seconds timeout, const StopToken& stop) override {
    asked.push_back(timeout);
    if (script_.empty()) stop_.cancel();
    stop.throwIfCancelled();
    bool changed = script_.front();
    script_.pop_front();
    return changed;
  }
  std::vector<Seconds> asked;

 private:
  std::deque<bool> script_;
  StopToken stop_;
};

std::vector<RoundCause> roundsFor(std::deque<bool> script, std::vector<Seconds>* asked = nullptr) {
  StopToken stop;
  ScriptedChanges changes(std::move(script), stop);
  std::vector<RoundCause> rounds;
  EXPECT_THROW(keepTrying(
                   changes, [&](RoundCause cause) { rounds.push_back(cause); }, stop),
               Cancelled);
  if (asked) *asked = changes.asked;
  return rounds;
}

TEST(ReconnectLoop, TriesAtOnceThenEveryIntervalWhileTheNetworkStaysAsItIs) {
  std::vector<Seconds> asked;
  EXPECT_EQ(roundsFor({false, false}, &asked),
            (std::vector{RoundCause::start, RoundCause::timer, RoundCause::timer}));
  ASSERT_EQ(asked.size(), 3u);
  for (Seconds timeout : asked) {
    EXPECT_GT(timeout, Seconds(29));
    EXPECT_LE(timeout, Seconds(30));
  }
}

TEST(ReconnectLoop, ANetworkChangeBringsARoundBeforeTheInterval) {
  std::vector<Seconds> asked;
  // Changed; then quiet while it settles; then the interval passes.
  EXPECT_EQ(roundsFor({true, false, false}, &asked),
            (std::vector{RoundCause::start, RoundCause::networkChanged, RoundCause::timer}));
  ASSERT_EQ(asked.size(), 4u);
  EXPECT_EQ(asked[1], Seconds(0.5)) << "settling is a short wait, not the interval";
  EXPECT_GT(asked[2], Seconds(29)) << "the interval starts again after the change's round";
}

TEST(ReconnectLoop, ABurstOfChangesGivesOneRound) {
  EXPECT_EQ(roundsFor({true, true, true, true, true, false}),
            (std::vector{RoundCause::start, RoundCause::networkChanged}));
}

}  // namespace
}  // namespace lumivale::WifiReconnect
