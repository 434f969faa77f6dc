#include "core/clipboard/clip_helper_process.h"

#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/clipboard/clip_helper.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/testing/fake_adb_stream.h"

namespace lumivale {
namespace {

using ::testing::Contains;
using testing::FakeAdbStreamRunner;

constexpr Seconds kLong{60};

// Whether `count` lines (pings, here) reached the helper before a generous deadline.
bool waitForPings(const testing::FakeAdbStream& stream, std::size_t count) {
  const auto giveUp = std::chrono::steady_clock::now() + kLong;
  while (stream.linesWritten().size() < count) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::yield();
  }
  return true;
}

TEST(ClipHelperProcessTest, RunsTheHelperAndPassesItsLinesInOrder) {
  FakeAdbStreamRunner runner;
  ClipHelperProcess helper(runner, {.serial = "LV1", .since = 42});
  auto stream = runner.stream(0);
  ASSERT_TRUE(stream);
  EXPECT_EQ(stream->arguments(), ClipHelper::arguments("LV1", 42));

  stream->output("{\"type\":\"ready\",\"sdk\":33,\"mode\":\"m\"}\n{\"type\":");
  stream->output("\"ack\"}\n");
  EXPECT_EQ(helper.nextLine(kLong), R"({"type":"ready","sdk":33,"mode":"m"})");
  EXPECT_EQ(helper.nextLine(kLong), R"({"type":"ack"})");
  EXPECT_TRUE(helper.send(R"({"type":"get"})", kLong));
  EXPECT_THAT(stream->linesWritten(), Contains(R"({"type":"get"})"));

  stream->errors("java.lang.RuntimeException: gone\n");
  stream->exit(1);
  EXPECT_EQ(helper.nextLine(kLong), std::nullopt);
  ASSERT_TRUE(helper.ended());
  EXPECT_EQ(helper.ended()->reason, AdbStreamEnd::Reason::exited);
  EXPECT_EQ(helper.stderrTail(), "java.lang.RuntimeException: gone\n");
}

TEST(ClipHelperProcessTest, PingsWhileAnsweredThenAsksItToQuit) {
  FakeAdbStreamRunner runner;
  ClipHelperProcess helper(runner,
                           {.serial = "LV1", .pingInterval = Seconds(0.01), .answerWait = kLong});
  auto stream = runner.stream(0);
  ASSERT_TRUE(stream);
  stream->reply(R"({"type":"ping"})", ClipWire::pongLine() + "\n");
  stream->output("{\"type\":\"ready\",\"sdk\":33,\"mode\":\"m\"}\n");
  EXPECT_EQ(helper.nextLine(kLong), R"({"type":"ready","sdk":33,"mode":"m"})");
  ASSERT_TRUE(waitForPings(*stream, 3));
  // The answers keep it going and are its own business: the reader never sees them.
  stream->settle();
  EXPECT_FALSE(helper.ended());
  EXPECT_EQ(helper.nextLine(Seconds(0)), std::nullopt);

  AdbStreamEnd end = helper.finish(kLong);
  EXPECT_EQ(end.reason, AdbStreamEnd::Reason::stopped);
  EXPECT_EQ(stream->linesWritten().back(), R"({"type":"quit"})");
  EXPECT_TRUE(stream->inputClosed());
}

TEST(ClipHelperProcessTest, OnceStartedAnUnansweredPingEndsItAsDisconnected) {
  FakeAdbStreamRunner runner;
  ClipHelperProcess helper(
      runner, {.serial = "LV1", .pingInterval = Seconds(0.01), .answerWait = Seconds(0.01)});
  auto stream = runner.stream(0);
  ASSERT_TRUE(stream);
  // Starting is bounded by the wait for its ready line, not by the pings.
  ASSERT_TRUE(waitForPings(*stream, 3));
  EXPECT_FALSE(helper.ended());

  // adb holds the stream open; the tablet behind it says nothing more.
  stream->output("{\"type\":\"ready\",\"sdk\":33,\"mode\":\"m\"}\n");
  EXPECT_EQ(helper.nextLine(kLong), R"({"type":"ready","sdk":33,"mode":"m"})");
  EXPECT_EQ(helper.nextLine(kLong), std::nullopt);
  ASSERT_TRUE(helper.ended());
  EXPECT_EQ(ClipHelper::endText(*helper.ended(), true, "LV1"), "the tablet disconnected");

  // What it says once given up for gone belongs to a link that moved on.
  stream->output(R"({"type":"clip","text":"late","reply":false,"at":1})"
                 "\n");
  stream->settle();
  EXPECT_EQ(helper.nextLine(Seconds(0)), std::nullopt);
}

TEST(ClipHelperProcessTest, ALineOverTheMaximumEndsTheHelper) {
  FakeAdbStreamRunner runner;
  ClipHelperProcess helper(runner, {.serial = "LV1", .maxLine = 8});
  auto stream = runner.stream(0);
  ASSERT_TRUE(stream);
  stream->output("123456789\n");
  EXPECT_EQ(helper.nextLine(kLong), std::nullopt);
  ASSERT_TRUE(helper.ended());
  EXPECT_EQ(helper.ended()->reason, AdbStreamEnd::Reason::badRecord);
}

TEST(ClipHelperProcessTest, RefusesASerialAdbWouldMisreadAndReportsAFailedLaunch) {
  FakeAdbStreamRunner runner;
  for (std::string serial : {"", "-d", "two words", "usb:1-1"}) {
    try {
      ClipHelperProcess helper(runner, {.serial = serial});
      ADD_FAILURE() << "started for '" << serial << "'";
    } catch (const AdbError& error) {
      EXPECT_EQ(error.message(),
                "refusing unpinned adb: serial '" + serial + "' is not a device serial");
    }
  }
  EXPECT_EQ(runner.openCount(), 0u);

  runner.failOpens(1);
  try {
    ClipHelperProcess helper(runner, {.serial = "LV1"});
    ADD_FAILURE() << "started";
  } catch (const AdbError& error) {
    EXPECT_EQ(error.message(), "could not launch adb: No such file or directory");
  }
}

}  // namespace
}  // namespace lumivale
