#include "core/clipboard/clip_wire.h"

#include <gtest/gtest.h>

#include "core/clipboard/clip_error.h"

namespace lumivale {
namespace {

using namespace ClipWire;

TEST(ClipWireTest, RequestsAreWrittenByteForByte) {
  EXPECT_EQ(getLine(), R"({"type":"get"})");
  EXPECT_EQ(pingLine(), R"({"type":"ping"})");
  EXPECT_EQ(quitLine(), R"({"type":"quit"})");
  EXPECT_EQ(pongLine(), R"({"type":"pong"})");
  // Lines, quotes, tabs and control characters escaped; slashes and UTF-8 as they are.
  EXPECT_EQ(setLine("line one\nline \"two\"\t\x01 a/b caf\u00e9 \U0001F600"),
            R"({"type":"set","text":"line one\nline \"two\"\t\u0001 a/b café 😀"})");
  EXPECT_EQ(setLine(""), R"({"type":"set","text":""})");
}

TEST(ClipWireTest, TextThatIsNotUtf8IsRefusedBeforeItIsSent) {
  try {
    setLine("caf\xe9");
    FAIL() << "no failure";
  } catch (const ClipError& error) {
    EXPECT_EQ(error.message(), "the text is not valid UTF-8");
  }
}

TEST(ClipWireTest, EveryMessageOfTheHelperDecodesAsItWritesIt) {
  const std::string mode = "service getPrimaryClip(String, String, int, int)";
  EXPECT_EQ(decodeLine(R"j({"type":"ready","sdk":33,"mode":")j" + mode + "\"}"),
            (Decoded{Ready{33, mode}, std::nullopt}));
  // As the helper writes it: slashes escaped, UTF-8 raw.
  EXPECT_EQ(decodeLine(R"j({"type":"clip","text":"line one\nline \"two\"\t\u0001 a\/b café 😀",)j"
                       R"j("reply":true,"at":1795369237501})j"),
            (Decoded{Clip{"line one\nline \"two\"\t\x01 a/b caf\u00e9 \U0001F600", true},
                     1795369237501}));
  EXPECT_EQ(decodeLine(R"j({"type":"skipped","reason":"sensitive","reply":false,"at":7})j"),
            (Decoded{Skipped{"sensitive", false}, 7}));
  EXPECT_EQ(decodeLine(R"j({"type":"skipped","reason":"too-large","reply":true})j"),
            (Decoded{Skipped{"too-large", true}, std::nullopt}));
  const std::string found =
      "no usable form of IClipboard.getPrimaryClip: found getPrimaryClip(String)";
  EXPECT_EQ(decodeLine(R"j({"type":"error","message":")j" + found + "\"}"),
            (Decoded{Failed{found}, std::nullopt}));
  EXPECT_EQ(decodeLine(R"j({"type":"error"})j"), (Decoded{Failed{"unknown error"}, std::nullopt}));
  EXPECT_EQ(decodeLine(R"j({"type":"empty"})j"), (Decoded{Empty{}, std::nullopt}));
  EXPECT_EQ(decodeLine(R"j({"type":"ack"})j"), (Decoded{Ack{}, std::nullopt}));
}

TEST(ClipWireTest, AnythingElseIsUndecodable) {
  for (std::string line : {
           "",
           "not json",
           R"(["clip"])",
           R"({"text":"no type"})",
           R"({"type":"paste"})",
           R"({"type":"clip"})",
           R"({"type":"clip","text":5})",
           R"({"type":"clip","text":"a","reply":"yes"})",
           R"({"type":"ready","sdk":"33","mode":"m"})",
           R"({"type":"skipped","reply":true})",
           R"({"type":"ack","at":"noon"})",
           R"({"type":"ack"} trailing)",
       }) {
    try {
      decodeLine(line);
      ADD_FAILURE() << "decoded: " << line;
    } catch (const ClipError& error) {
      EXPECT_EQ(error.message(), "undecodable clip from the tablet") << line;
    }
  }
}

TEST(ClipWireTest, ALineLongerThanTheMaximumIsRefusedEvenWhenItIsJson) {
  std::string text(maxLine, 'a');
  std::string atLimit = R"({"type":"clip","text":")" + text.substr(0, maxLine - 25) + R"("})";
  ASSERT_EQ(atLimit.size(), maxLine);
  EXPECT_NO_THROW(decodeLine(atLimit));
  EXPECT_THROW(decodeLine(R"({"type":"clip","text":")" + text + R"("})"), ClipError);
}

TEST(ClipWireTest, SkipReasonsInWords) {
  const std::pair<std::string, std::string> cases[] = {
      {"too-large", "larger than 256 KB"},
      {"sensitive", "marked as a password"},
      {"secret", "marked as a password"},
      {"not-text", "not plain text"},
      {"denied", "Mac clipboard access is off in System Settings"},
      {"locked", "locked"},  // one we do not know, as it is
  };
  for (const auto& [reason, words] : cases)
    EXPECT_EQ(reasonText(reason), words);
}

}  // namespace
}  // namespace lumivale
