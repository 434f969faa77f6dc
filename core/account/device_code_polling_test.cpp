#include "core/account/device_code_polling.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace lumivale {
namespace {

using Kind = DeviceTokenAnswer::Kind;
using DeviceCodePolling::Outcome;

// A server that answers from a script, and a clock that moves only when slept on.
struct ScriptedPolling {
  std::deque<std::function<DeviceTokenAnswer()>> answers;
  std::vector<double> sleeps;
  std::vector<std::string> transients;
  double clock = 1000;

  Outcome run(int interval, int expiresIn = 600) {
    DeviceCode code{"device", "USER-CODE", "https://example.org/device", "", interval, expiresIn};
    return DeviceCodePolling::waitForApproval(
        code,
        [&] {
          if (answers.empty()) return DeviceTokenAnswer{Kind::pending, {}};
          auto next = answers.front();
          answers.pop_front();
          return next();
        },
        [&](double seconds) {
          sleeps.push_back(seconds);
          clock += seconds;
        },
        [&] { return clock; },
        [&](const AuthError& error) { transients.push_back(error.reason()); });
  }

  void answer(Kind kind, std::string token = {}) {
    answers.push_back([=] { return DeviceTokenAnswer{kind, token}; });
  }
};

TEST(DeviceCodePolling, IntervalsAreClampedToOneToSixtySeconds) {
  EXPECT_EQ(DeviceCodePolling::clampedInterval(0), 1);
  EXPECT_EQ(DeviceCodePolling::clampedInterval(1), 1);
  EXPECT_EQ(DeviceCodePolling::clampedInterval(5), 5);
  EXPECT_EQ(DeviceCodePolling::clampedInterval(90), 60);

  ScriptedPolling zero;
  zero.answer(Kind::pending);
  zero.answer(Kind::approved, "session");
  EXPECT_EQ(zero.run(0), (Outcome{Outcome::Kind::approved, "session"}));
  EXPECT_EQ(zero.sleeps, (std::vector<double>{1, 1}));

  ScriptedPolling ninety;
  ninety.answer(Kind::denied);
  EXPECT_EQ(ninety.run(90).kind, Outcome::Kind::denied);
  EXPECT_EQ(ninety.sleeps, (std::vector<double>{60}));
}

TEST(DeviceCodePolling, SlowDownAddsFiveSecondsUpToSixty) {
  ScriptedPolling polling;
  for (int i = 0; i < 3; ++i)
    polling.answer(Kind::slowDown);
  polling.answer(Kind::expired);
  EXPECT_EQ(polling.run(58).kind, Outcome::Kind::expired);
  EXPECT_EQ(polling.sleeps, (std::vector<double>{58, 60, 60, 60}));
}

TEST(DeviceCodePolling, ExpiresWhenTheCodeRunsOutWithoutPollingPastIt) {
  ScriptedPolling polling;  // pending for ever
  EXPECT_EQ(polling.run(4, 10).kind, Outcome::Kind::expired);
  // 4 + 4 + the 2 seconds left, then nothing remains.
  EXPECT_EQ(polling.sleeps, (std::vector<double>{4, 4, 2}));
}

TEST(DeviceCodePolling, BusyServersAndNetworkFailuresAreReportedAndPollingGoesOn) {
  ScriptedPolling polling;
  polling.answers.push_back([]() -> DeviceTokenAnswer { throw PortmarkUnavailable(503, 30); });
  polling.answers.push_back([]() -> DeviceTokenAnswer { throw AccountTimeout(); });
  polling.answer(Kind::approved, "session");
  EXPECT_EQ(polling.run(5).sessionToken, "session");
  EXPECT_EQ(polling.sleeps, (std::vector<double>{5, 5, 5}));
  EXPECT_EQ(polling.transients, (std::vector<std::string>{"the server answered 503",
                                                          "the request ran past its deadline"}));
}

TEST(DeviceCodePolling, OtherFailuresEndThePolling) {
  ScriptedPolling polling;
  polling.answers.push_back([]() -> DeviceTokenAnswer { throw UnexpectedAnswer("odd"); });
  EXPECT_THROW(polling.run(5), UnexpectedAnswer);
}

}  // namespace
}  // namespace lumivale
