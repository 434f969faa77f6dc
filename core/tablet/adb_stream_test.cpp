// Cutting a child's output into records, telling how a stream ended, and the
// scripted stream that code on top of streams is tested with.
#include <gtest/gtest.h>

#include "core/tablet/adb_stream.h"
#include "core/tablet/stream_records.h"
#include "core/tablet/testing/fake_adb_stream.h"
#include "core/tablet/testing/recording_sink.h"

namespace lumivale {
namespace {

using testing::FakeAdbStreamRunner;
using testing::RecordingSink;
using Reason = AdbStreamEnd::Reason;

// Feeds `reads` one by one; the records emitted, or "refused: PROBLEM" at a refusal.
std::vector<std::string> assemble(RecordFraming framing, std::size_t max,
                                  const std::vector<std::string>& reads) {
  RecordAssembler assembler(framing, max);
  std::vector<std::string> records;
  for (const auto& read : reads) {
    if (!assembler.feed(read, [&](std::string_view record) { records.emplace_back(record); })) {
      records.push_back("refused: " + assembler.problem());
      return records;
    }
  }
  if (auto last = assembler.rest()) records.push_back("last: " + *last);
  return records;
}

using Records = std::vector<std::string>;

TEST(RecordAssemblerTest, LinesAreWholeWhateverTheReads) {
  // Given reads that cut lines anywhere, we should get each line once, whole.
  EXPECT_EQ(assemble(RecordFraming::lines, 100, {"one\ntw", "o\nthr", "ee", "\n"}),
            (Records{"one", "two", "three"}));
  EXPECT_EQ(assemble(RecordFraming::lines, 100, {"a\nb\n\nc\n"}), (Records{"a", "b", "", "c"}));
  // UTF-8 cut inside a character: "é" is C3 A9, "😀" F0 9F 98 80.
  EXPECT_EQ(assemble(RecordFraming::lines, 100, {"caf\xc3", "\xa9 \xf0\x9f", "\x98\x80\n"}),
            (Records{"caf\xc3\xa9 \xf0\x9f\x98\x80"}));
  // Bytes are kept as they come: a carriage return is part of the line.
  EXPECT_EQ(assemble(RecordFraming::lines, 100, {"dos\r\n"}), (Records{"dos\r"}));
  // A last line without its line feed is handed over at the end.
  EXPECT_EQ(assemble(RecordFraming::lines, 100, {"a\npartial"}), (Records{"a", "last: partial"}));
}

TEST(RecordAssemblerTest, ALineOfTheMaximumPassesAndOneByteMoreIsRefused) {
  const std::string longest(8, 'x');
  EXPECT_EQ(assemble(RecordFraming::lines, 8, {longest + "\n"}), (Records{longest}));
  EXPECT_EQ(assemble(RecordFraming::lines, 8, {"xxxx", "xxxx", "\n"}), (Records{longest}));
  const Records refused{"refused: a line of more than 8 bytes arrived"};
  EXPECT_EQ(assemble(RecordFraming::lines, 8, {longest + "x\n"}), refused);
  // Refused as soon as the unfinished line is too long, without waiting for its end.
  EXPECT_EQ(assemble(RecordFraming::lines, 8, {"xxxxx", "xxxx"}), refused);
  // What came before the long line still counts; nothing after it does.
  EXPECT_EQ(assemble(RecordFraming::lines, 8, {"ok\n" + longest + "xx\nlater\n"}),
            (Records{"ok", refused[0]}));
}

TEST(RecordAssemblerTest, ReportsAreCutByTheirLength) {
  const std::string first = "127.0.0.1:5555\tdevice\n";   // 22 bytes: 0016
  const std::string second = "emulator-5554\toffline\n";  // 22 bytes
  const std::string both = "0016" + first + "0016" + second;
  // Two reports in one read.
  EXPECT_EQ(assemble(RecordFraming::lengthPrefixed, 0xffff, {both}), (Records{first, second}));
  // One report cut inside its length and inside its payload.
  EXPECT_EQ(
      assemble(RecordFraming::lengthPrefixed, 0xffff, {"00", "16127.0.0.1", ":5555\tdevice\n"}),
      (Records{first}));
  // An empty list is a report too; a report cut short at the end is dropped.
  EXPECT_EQ(assemble(RecordFraming::lengthPrefixed, 0xffff, {"00000016127"}), (Records{""}));
  EXPECT_EQ(assemble(RecordFraming::lengthPrefixed, 0xffff, {"zz00"}),
            (Records{"refused: a report began with 'zz00', not a length"}));
  EXPECT_EQ(assemble(RecordFraming::lengthPrefixed, 16, {"0011"}),
            (Records{"refused: a report of 17 bytes arrived; 16 is the most"}));
}

TEST(AdbStreamEndTest, TheEndIsToldFromWhatHappened) {
  auto from = [](AdbStreamFacts facts) { return AdbStreamEnd::from(facts); };
  auto ownEnd = from({.status = 3, .stderrTail = "first\nhelper crashed\n"});
  EXPECT_EQ(ownEnd.reason, Reason::exited);
  EXPECT_EQ(ownEnd.message, "adb exited 3: helper crashed");
  EXPECT_EQ(from({.status = 0}).message, "adb exited 0");
  EXPECT_EQ(from({.status = 1, .stderrTail = "error: no devices/emulators found\n"}).reason,
            Reason::disconnected);
  EXPECT_EQ(from({.status = 1, .stderrTail = "error: closed\n"}).message,
            "the tablet disconnected");
  EXPECT_EQ(from({.status = 1, .stderrTail = "error: device 'LV1' not found\n"}).reason,
            Reason::disconnected);
  // What the tablet's own shell cannot find says nothing about the tablet.
  EXPECT_EQ(from({.status = 127, .stderrTail = "/system/bin/sh: app_process: not found\n"}).reason,
            Reason::exited);
  // A tablet that goes away while we stop it was still stopped by us.
  EXPECT_EQ(from({.status = 1, .stderrTail = "error: closed\n", .stopAsked = true}).reason,
            Reason::stopped);
  auto killed = from({.status = 137, .stopAsked = true, .killedByStop = true, .grace = Seconds(2)});
  EXPECT_EQ(killed.reason, Reason::killed);
  EXPECT_EQ(killed.message, "did not stop within 2 s and was killed");
  EXPECT_EQ(from({.status = 137, .cancelled = true, .stopAsked = true}).reason, Reason::cancelled);
  EXPECT_EQ(from({.status = 137, .badRecord = "a line of more than 8 bytes arrived"}).message,
            "a line of more than 8 bytes arrived");
}

// The scripted stream delivers through the same assembler, on its own thread.
class FakeStreamTest : public ::testing::Test {
 protected:
  std::unique_ptr<AdbStream> open(AdbStreamOptions options = {}, const StopToken* stop = nullptr) {
    auto opened = runner.openStream({"-s", "LV1", "shell", "-T", "cat"}, options, sink, stop);
    child = runner.stream(0);
    return opened;
  }
  FakeAdbStreamRunner runner;
  RecordingSink sink;
  std::shared_ptr<testing::FakeAdbStream> child;
};

TEST_F(FakeStreamTest, LinesGoBothWaysAndStopEndsIt) {
  auto stream = open();
  child->reply("ping", "{\"type\":\"pong\"}\n");
  EXPECT_EQ(stream->writeLine("ping", Seconds(1)), AdbStream::Write::written);
  child->output("half a ");
  child->output("line\n");
  child->settle();
  EXPECT_EQ(sink.records(), (Records{"{\"type\":\"pong\"}", "half a line"}));
  EXPECT_EQ(child->linesWritten(), (Records{"ping"}));
  EXPECT_EQ(stream->stop(Seconds(1)).reason, Reason::stopped);
  EXPECT_TRUE(child->inputClosed());
  EXPECT_EQ(stream->writeLine("late", Seconds(1)), AdbStream::Write::closed);
  EXPECT_EQ(sink.endCalls(), 1);
}

TEST_F(FakeStreamTest, TooLongLinesAreRefusedBothWays) {
  AdbStreamOptions options;
  options.maxRecord = 4;
  auto stream = open(options);
  EXPECT_EQ(stream->writeLine("abcd", Seconds(1)), AdbStream::Write::written);
  EXPECT_EQ(stream->writeLine("abcde", Seconds(1)), AdbStream::Write::refused);
  EXPECT_EQ(stream->writeLine("a\nb", Seconds(1)), AdbStream::Write::refused);
  child->output("abcd\nabcde\n");
  auto end = sink.awaitEnd();
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::badRecord);
  EXPECT_EQ(sink.records(), (Records{"abcd"}));
}

TEST_F(FakeStreamTest, AChildThatIgnoresItsInputEndIsKilled) {
  auto stream = open();
  child->ignoreInputEnd();
  EXPECT_EQ(stream->stop(Seconds(0)).reason, Reason::killed);
}

TEST_F(FakeStreamTest, ACancelOfItsTokenKillsTheChild) {
  StopToken stop;
  auto stream = open({}, &stop);
  child->output("started\n");
  stop.cancel();
  auto end = sink.awaitEnd();
  ASSERT_TRUE(end);
  EXPECT_EQ(end->reason, Reason::cancelled);
  EXPECT_EQ(sink.records(), (Records{"started"}));
  // A token cancelled before the open ends the stream at once.
  RecordingSink late;
  StopToken cancelled;
  cancelled.cancel();
  auto lateStream = runner.openStream({"track-devices"}, {}, late, &cancelled);
  ASSERT_TRUE(late.awaitEnd());
  EXPECT_EQ(late.awaitEnd()->reason, Reason::cancelled);
}

}  // namespace
}  // namespace lumivale
