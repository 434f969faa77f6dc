// `lumivale folder sync` where a careless copy would lose the user's work: part of the folder
// cannot be read, or the tablet shows other dates for the same copies.
#include <chrono>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/files/reading-folder/testing/open_trap.h"
#include "tests/integration/eventually.h"
#include "tests/integration/files/folder_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

using FolderSyncEdgesTest = FolderCliTest;

TEST_F(FolderSyncEdgesTest, NothingIsRemovedWhileTheFolderCannotBeReadWhole) {
  if (!OpenTrap::available()) GTEST_SKIP() << "needs fanotify permission events (root)";
  onMac("a.pdf", "a");
  onMac("b.pdf", "b");
  choose({"--remove-deleted", "on"});
  sync();
  fs::remove(mac / "a.pdf");
  onMac("locked.pdf", "cannot be read");
  {
    // Every open of it refused, even to root: as a file this user may not read.
    OpenTrap refused(mac / "locked.pdf", {}, OpenTrap::Answer::deny);
    const nlohmann::json summary = sync();
    EXPECT_EQ(summary["removed"], 0);
    EXPECT_EQ(summary["done"], nlohmann::json::array());
    const nlohmann::json note = {
        {"path", "locked.pdf"},
        {"sentence", "it could not be read (macOS did not allow it, or it is damaged)"}};
    EXPECT_EQ(summary["notes"], nlohmann::json::array({note}));
    EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a"}, {"b.pdf", "b"}}));
  }
  // Read whole again, the folder's deletion goes ahead.
  const nlohmann::json summary = sync();
  EXPECT_EQ(summary["removed"], 1);
  EXPECT_EQ(summary["copied"], 1);
  EXPECT_EQ(tabletFiles(), (Files{{"b.pdf", "b"}, {"locked.pdf", "cannot be read"}}));
}

// The tablet's dates are read as seconds since 1970, but storage that keeps local times shows
// every date moved once the tablet's zone (or a clock set wrong) changes: the same bytes are
// not copies changed on the tablet.
TEST_F(FolderSyncEdgesTest, ATabletWhoseZoneOrClockChangedGetsNothingCopiedAgain) {
  onMac("a.pdf", "a");
  onMac("Sub/b.pdf", "b");
  choose();
  sync();
  ASSERT_EQ(tablet->shell("setprop persist.sys.timezone Pacific/Kiritimati").status, 0);
  for (const std::string path : {"a.pdf", "Sub/b.pdf"}) {
    const fs::path copy = tabletFolder() / path;
    fs::last_write_time(copy, fs::last_write_time(copy) + std::chrono::hours(14));
  }
  // The tablet itself now shows the moved date.
  const auto shown = [&] {
    return tablet->shell("stat -c %Y '/sdcard/Documents/From Mac/a.pdf'").stdoutData;
  };
  const auto moved = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::file_clock::to_sys(fs::last_write_time(tabletFolder() / "a.pdf"))
          .time_since_epoch());
  ASSERT_TRUE(eventually([&] { return shown() == std::to_string(moved.count()) + "\n"; }))
      << shown();
  const nlohmann::json again = sync();
  EXPECT_EQ(again["done"], nlohmann::json::array());
  EXPECT_EQ(again["keptBoth"], 0);
  EXPECT_EQ(again["held"], 0);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a"}, {"Sub/b.pdf", "b"}}));

  // Still the copies this folder made: an edit here replaces them rather than going beside.
  onMac("a.pdf", "a, edited");
  const nlohmann::json edited = sync();
  EXPECT_EQ(edited["replaced"], 1);
  EXPECT_EQ(edited["keptBoth"], 0);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a, edited"}, {"Sub/b.pdf", "b"}}));
}

}  // namespace
}  // namespace lumivale::testing
