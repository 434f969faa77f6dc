#include "core/tablet/adb_hand_off.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

TEST(AdbHandOffTest, TypeableTextIsShortPrintableAscii) {
  EXPECT_TRUE(AdbHandOff::isTypeable(std::string(240, 'a')));
  EXPECT_TRUE(AdbHandOff::isTypeable(" ~!\"#$%&'()*+,-./09:;<=>?@AZ[\\]^_`az{|}"));
  EXPECT_FALSE(AdbHandOff::isTypeable(std::string(241, 'a')));
  EXPECT_FALSE(AdbHandOff::isTypeable(""));
  EXPECT_FALSE(AdbHandOff::isTypeable("tab\there"));
  EXPECT_FALSE(AdbHandOff::isTypeable("line\n"));
  EXPECT_FALSE(AdbHandOff::isTypeable("caf\xc3\xa9"));
  EXPECT_FALSE(AdbHandOff::isTypeable("\x7f"));
}

TEST(AdbHandOffTest, TypedTextReachesTheTabletAsWritten) {
  using Runs = std::vector<std::string>;
  EXPECT_EQ(AdbHandOff::inputTextArguments("a b  c"), Runs{"a%sb%s%sc"});
  // A "%" before a blank stays a "%": the tablet reads "%%s" as "% ".
  EXPECT_EQ(AdbHandOff::inputTextArguments("50% off"), Runs{"50%%soff"});
  EXPECT_EQ(AdbHandOff::inputTextArguments("printf %s"), (Runs{"printf%s%", "s"}));
  EXPECT_EQ(AdbHandOff::inputTextArguments("%s%s"), (Runs{"%", "s%", "s"}));
}

TEST(AdbHandOffTest, TheLogNeverShowsCodesOrTypedText) {
  EXPECT_EQ(AdbHandOff::redacted({"pair", "10.0.0.2:37001", "123456"}),
            "pair 10.0.0.2:37001 [code]");
  EXPECT_EQ(AdbHandOff::redacted({"-s", "A", "shell", "input text 'secret%sword'"}),
            "-s A shell input text [text]");
  EXPECT_EQ(AdbHandOff::redacted({"-s", "A", "shell", "input", "text", "secret"}),
            "-s A shell input text [text]");
  EXPECT_EQ(AdbHandOff::redacted({"-s", "A", "shell", "input tap 3 4"}),
            "-s A shell input tap 3 4");
  EXPECT_EQ(AdbHandOff::redacted(
                {"-s", "A", "shell", "printf '%s\\n' id tok > /data/local/tmp/lumivale-check.new"}),
            "-s A shell [check]");
}

}  // namespace
}  // namespace lumivale
