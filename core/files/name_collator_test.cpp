#include "core/files/name_collator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace lumivale {
namespace {

std::vector<std::string> sortedBy(const NameCollator& collator, std::vector<std::string> names) {
  std::sort(names.begin(), names.end(),
            [&](const std::string& a, const std::string& b) { return collator.compare(a, b) < 0; });
  return names;
}

std::vector<std::string> sortedByKeys(const NameCollator& collator,
                                      std::vector<std::string> names) {
  std::sort(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
    return collator.sortKey(a) < collator.sortKey(b);
  });
  return names;
}

const std::vector<std::string> shuffled{"Zebra",  "日本",   "file10", "éclair", "Жук",
                                        "apple",  "Eclair", "zebra",  "Ωmega",  "File1",
                                        "eclair", "Äpfel",  "file2",  "Émile",  "emu"};

TEST(NameCollatorTest, TheCAndPosixLocalesUseTheRootOrderNotCapitalsFirst) {
  const std::vector<std::string> expected{"Äpfel", "apple", "eclair", "Eclair", "éclair",
                                          "Émile", "emu",   "File1",  "file2",  "file10",
                                          "zebra", "Zebra", "Ωmega",  "Жук",    "日本"};
  for (const char* locale : {"", "C", "C.UTF-8", "POSIX", "en_US.UTF-8"}) {
    SCOPED_TRACE(locale);
    NameCollator collator(locale);
    EXPECT_EQ(sortedBy(collator, shuffled), expected);
    EXPECT_EQ(sortedByKeys(collator, shuffled), expected);
  }
}

TEST(NameCollatorTest, ALocaleBringsItsOwnRules) {
  // Swedish puts ä and ö after z; German sorts them with a and o.
  EXPECT_GT(NameCollator("sv_SE.UTF-8").compare("öl", "zebra"), 0);
  EXPECT_LT(NameCollator("de_DE.UTF-8").compare("öl", "zebra"), 0);
}

TEST(NameCollatorTest, OnlyIdenticalNamesAreEqual) {
  NameCollator collator("");
  // Equal to the eye, told apart by their bytes, the same way by compare and by keys.
  for (auto [a, b] : {std::pair<std::string, std::string>{"1", "01"},
                      {"e\xcc\x81", "\xc3\xa9"},  // é decomposed and composed
                      {"\xff", "\xfe"}}) {        // not UTF-8
    SCOPED_TRACE(a + " / " + b);
    EXPECT_NE(collator.compare(a, b), 0);
    EXPECT_EQ(collator.compare(a, b) < 0, collator.sortKey(a) < collator.sortKey(b));
    EXPECT_EQ(collator.compare(a, b), -collator.compare(b, a));
  }
  EXPECT_EQ(collator.compare("x", "x"), 0);
  EXPECT_EQ(collator.sortKey("x"), NameCollator(collator).sortKey("x"));
}

}  // namespace
}  // namespace lumivale
