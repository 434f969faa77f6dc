#include "cli/nearest_word.h"

#include <gtest/gtest.h>

namespace lumivale::cli {
namespace {

const std::vector<std::string> commands{"devices", "use",     "status", "info",
                                        "wake",    "setting", "files",  "tools"};

TEST(NearestWordTest, GivenASlipWeShouldNameTheCommandMeant) {
  EXPECT_EQ(nearestWord("devcies", commands), "devices");  // two letters swapped
  EXPECT_EQ(nearestWord("stauts", commands), "status");
  EXPECT_EQ(nearestWord("settings", commands), "setting");  // one letter too many
  EXPECT_EQ(nearestWord("lss", {"ls", "stat", "mkdir"}), "ls");
  EXPECT_EQ(nearestWord("--if-exist", {"--as", "--if-exists"}), "--if-exists");
  EXPECT_EQ(nearestWord("--jsno", {"--json", "--sort"}), "--json");
}

TEST(NearestWordTest, GivenADifferentWordWeShouldSuggestNothing) {
  EXPECT_EQ(nearestWord("reboot", commands), std::nullopt);
  EXPECT_EQ(nearestWord("x", {"ls", "mv"}), std::nullopt);
  EXPECT_EQ(nearestWord("anything", {}), std::nullopt);
}

TEST(NearestWordTest, GivenEqualDistancesWeShouldKeepTheFirstListed) {
  EXPECT_EQ(nearestWord("mw", {"mv", "mx"}), "mv");
}

}  // namespace
}  // namespace lumivale::cli
