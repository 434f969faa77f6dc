// Long-lived adb children through the real adb on the stand-in: lines both ways,
// the longest line, and every way a stream ends.
#include <gtest/gtest.h>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/testing/recording_sink.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::RecordingSink;
using testing::StandinTablet;
using Reason = AdbStreamEnd::Reason;
using Write = AdbStream::Write;

constexpr Seconds kPatience{60};

class AdbStreamTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet.reset(); }

  std::unique_ptr<AdbStream> shell(const std::string& command, AdbStreamOptions options = {},
                                   const StopToken* stop = nullptr) {
    return bridge.openStream({"-s", tablet->serial(), "shell", "-T", command}, options, sink, stop);
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  AdbBridge bridge{"/usr/bin/adb", tablet->adbEnvironment(), StandinHooks{tablet->serial(), false}};
  RecordingSink sink;
};

TEST_F(AdbStreamTest, TenThousandLinesComeBackByteForByte) {
  auto stream = shell("cat");
  std::vector<std::string> sent;
  for (int i = 0; i < 10'000; ++i) {
    // Plain text, a tab, quotes and characters of two, three and four bytes.
    sent.push_back(std::to_string(i) + "\t\"Grüße\" — 書 😀 " + std::string(i % 97, 'x'));
    ASSERT_EQ(stream->writeLine(sent.back(), kPatience), Write::written) << i;
  }
  ASSERT_TRUE(sink.awaitRecords(sent.size()));
  EXPECT_EQ(sink.records(), sent);
  auto end = stream->stop(kPatience);
  EXPECT_EQ(end.reason, Reason::stopped) << end.message;
  EXPECT_EQ(end.status, 0);
}

TEST_F(AdbStreamTest, TheLongestLinePassesAndOneByteMoreIsRefused) {
  AdbStreamOptions options;
  options.maxRecord = 350'552;
  auto stream = shell("cat", options);
  const std::string longest(options.maxRecord, 'L');
  EXPECT_EQ(stream->writeLine(longest + "x", kPatience), Write::refused);
  EXPECT_EQ(stream->writeLine(longest, kPatience), Write::written);
  ASSERT_TRUE(sink.awaitRecords(1));
  EXPECT_EQ(sink.records(), std::vector<std::string>{longest});
  EXPECT_EQ(stream->stop(kPatience).reason, Reason::stopped);
}

TEST_F(AdbStreamTest, ALineTooLongFromTheTabletEndsTheStream) {
  AdbStreamOptions options;
  options.maxRecord = 1000;
  // 1001 bytes and no line feed, then a child that would wait a minute.
  auto stream = shell("echo fine; head -c 1001 /dev/zero; sleep 60", options);
  auto end = stream->waitForEnd(kPatience);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::badRecord);
  EXPECT_EQ(end->message, "a line of more than 1000 bytes arrived");
  EXPECT_EQ(sink.records(), std::vector<std::string>{"fine"});
}

TEST_F(AdbStreamTest, LinesCutAcrossReadsArriveWhole) {
  // The shell writes one line in three pieces, cut inside UTF-8 characters.
  auto stream = shell(
      "printf 'caf\\303'; sleep 0.2; printf '\\251 \\360\\237'; sleep 0.2; printf '\\230\\200\\n'");
  auto end = stream->waitForEnd(kPatience);
  ASSERT_TRUE(end);
  EXPECT_EQ(sink.records(), std::vector<std::string>{"café 😀"});
  EXPECT_EQ(end->reason, Reason::exited);
}

TEST_F(AdbStreamTest, AChildThatEndsByItselfGivesItsStatus) {
  auto stream = shell("echo bye; echo trouble >&2; exit 3");
  auto end = stream->waitForEnd(kPatience);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::exited);
  EXPECT_EQ(end->status, 3);
  EXPECT_EQ(end->message, "adb exited 3: trouble");
  EXPECT_EQ(sink.records(), std::vector<std::string>{"bye"});
  EXPECT_EQ(stream->writeLine("too late", kPatience), Write::closed);
  EXPECT_EQ(sink.endCalls(), 1);
}

TEST_F(AdbStreamTest, AChildThatIgnoresItsInputEndIsKilledByStop) {
  auto stream = shell("echo started; sleep 60");
  ASSERT_TRUE(sink.awaitRecords(1));
  auto end = stream->stop(Seconds(1));
  EXPECT_EQ(end.reason, Reason::killed);
  EXPECT_EQ(end.status, 137);
  EXPECT_EQ(end.message, "did not stop within 1 s and was killed");
}

TEST_F(AdbStreamTest, ACancelEndsTheStream) {
  StopToken cancel;
  auto stream = shell("echo started; sleep 60", {}, &cancel);
  ASSERT_TRUE(sink.awaitRecords(1));
  cancel.cancel();
  auto end = stream->waitForEnd(kPatience);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::cancelled);
}

TEST_F(AdbStreamTest, AnUnpinnedSerialIsRefused) {
  bridge.pin(AdbTablet{tablet->serial(), {}});
  EXPECT_THROW(bridge.openStream({"-s", "elsewhere:5555", "shell", "-T", "cat"}, {}, sink),
               AdbError);
}

TEST(AdbStreamDropTest, ATabletThatGoesAwayIsReportedAsGone) {
  StandinTablet tablet;
  AdbBridge bridge("/usr/bin/adb", tablet.adbEnvironment(), StandinHooks{tablet.serial(), false});
  RecordingSink sink;
  auto stream =
      bridge.openStream({"-s", tablet.serial(), "shell", "-T", "cat"}, AdbStreamOptions{}, sink);
  ASSERT_EQ(stream->writeLine("hello", kPatience), Write::written);
  ASSERT_TRUE(sink.awaitRecords(1));
  tablet.dropConnections();
  auto end = stream->waitForEnd(kPatience);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::disconnected) << end->message << " / " << end->stderrTail;
  EXPECT_EQ(end->message, "the tablet disconnected");
}

}  // namespace
}  // namespace lumivale
