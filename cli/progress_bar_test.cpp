#include "cli/progress_bar.h"

#include <gtest/gtest.h>

namespace lumivale::cli {
namespace {

using namespace std::chrono_literals;

TEST(ProgressBarTest, AmountsReadAsTheMacShowsThem) {
  EXPECT_EQ(humanBytes(0), "0 bytes");
  EXPECT_EQ(humanBytes(1), "1 byte");
  EXPECT_EQ(humanBytes(999), "999 bytes");
  EXPECT_EQ(humanBytes(1000), "1.0 kB");
  EXPECT_EQ(humanBytes(999'960), "1.0 MB");
  EXPECT_EQ(humanBytes(1'073'741'824), "1.1 GB");
}

TEST(ProgressBarTest, TheLineGivesShareRateAndTimeLeft) {
  EXPECT_EQ(ProgressBar::line("big.bin", {250'000'000, 1'000'000'000}, 5s, 120),
            "big.bin   25% [#####...............] 250.0 MB of 1.0 GB  50.0 MB/s  0:15 left");
  // Without a known total there is no share and no time left.
  EXPECT_EQ(ProgressBar::line("x", {2000, std::nullopt}, 2s, 120), "x  2.0 kB  1.0 kB/s");
  // A narrow terminal drops the label before the figures.
  EXPECT_EQ(ProgressBar::line("a long label", {0, 10}, 0s, 40),
            "  0% [....................] 0 bytes of 10 bytes");
}

}  // namespace
}  // namespace lumivale::cli
