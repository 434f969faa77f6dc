// `lumivale folder watch` as a user runs it: the folder here watched, the stand-in tablet
// reached through the real adb.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/files/folder_cli.h"
#include "tests/integration/line_reading_run.h"

namespace lumivale::testing {
namespace {

class FolderWatchTest : public FolderCliTest {
 protected:
  std::unique_ptr<LineReadingRun> watch() const {
    return std::make_unique<LineReadingRun>(LUMIVALE_CLI_BINARY, command({"watch"}), environment);
  }
};

TEST_F(FolderWatchTest, WhatIsWrittenHereArrivesOnTheTabletOneRunForABurst) {
  onMac("a.pdf", "a");
  choose();
  auto run = watch();
  ASSERT_TRUE(run->waitForLine("watching ")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("syncing (first look)")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("1 copied, ")) << run->transcript();
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a"}}));

  // Twenty files written at once settle into one run that copies them all.
  Files expected{{"a.pdf", "a"}};
  for (int i = 0; i < 20; ++i) {
    const std::string name = fmt::format("b{:02}.pdf", i);
    onMac(name, name);
    expected[name] = name;
  }
  ASSERT_TRUE(run->waitForLine("syncing (changes here)")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("20 copied, ")) << run->transcript();
  EXPECT_EQ(tabletFiles(), expected);

  // A folder made here is watched too: a file written into it later is seen.
  std::filesystem::create_directories(mac / "New");
  ASSERT_TRUE(run->waitForLine("syncing (changes here)")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("0 copied, ")) << run->transcript();
  onMac("New/c.pdf", "c");
  ASSERT_TRUE(run->waitForLine("syncing (changes here)")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("1 copied, ")) << run->transcript();
  expected["New/c.pdf"] = "c";
  EXPECT_EQ(tabletFiles(), expected);

  EXPECT_EQ(run->interrupt(), 0) << run->transcript();
  EXPECT_EQ(run->errors(), "");
}

// The tablet side is read afresh by the run its return starts: the copy deleted there while
// it was away is noted, and nothing else had run since.
TEST_F(FolderWatchTest, TheTabletStoppedAndStartedAgainGetsARunWhenItIsBack) {
  onMac("a.pdf", "a");
  choose();
  auto run = watch();
  ASSERT_TRUE(run->waitForLine("1 copied, ")) << run->transcript();
  std::filesystem::remove(tabletFolder() / "a.pdf");

  tablet->disconnect();
  ASSERT_TRUE(run->waitForLine("the tablet is away")) << run->transcript();
  tablet->restart();
  ASSERT_TRUE(run->waitForLine("the tablet is back")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("syncing (the tablet is back)")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("note: a.pdf: deleted on the Lumivale")) << run->transcript();
  ASSERT_TRUE(run->waitForLine("0 copied, ")) << run->transcript();
  EXPECT_EQ(run->interrupt(), 0) << run->transcript();
}

TEST_F(FolderWatchTest, CtrlCDuringASyncStopsCleanlyAndTheNextSyncFinishesIt) {
  Files expected;
  for (int i = 0; i < 40; ++i) {
    const std::string name = fmt::format("f{:02}.pdf", i);
    expected[name] = std::string(256 * 1024, static_cast<char>('a' + i % 26));
    onMac(name, expected[name]);
  }
  choose();
  auto run = watch();
  ASSERT_TRUE(run->waitForLine("syncing (first look)")) << run->transcript();
  ASSERT_TRUE(within([&] { return !tabletFiles().empty(); })) << run->transcript();
  EXPECT_EQ(run->interrupt(), 0) << run->transcript();
  EXPECT_EQ(run->errors(), "");

  sync();
  std::vector<std::string> hidden;
  EXPECT_EQ(tabletFiles(&hidden), expected);
  EXPECT_TRUE(hidden.empty()) << hidden.front();
}

}  // namespace
}  // namespace lumivale::testing
