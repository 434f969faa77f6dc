// `lumivale folder sync` where a careless copy would lose the user's work: part of the folder
// cannot be read, or the tablet shows other dates for the same copies.
#include <chrono>

#include <gmock/gmock.h>
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

// A new file that became a link after the folder was looked at is not copied, whatever the link
// led adb to send, and the others still are.
TEST_F(FolderSyncEdgesTest, ANewFileThatBecomesALinkBeforeItIsSentIsNotCopied) {
  onMac("a.pdf", "a");
  onMac("b.pdf", "b");
  onMac("c.pdf", "c");
  const fs::path secret = local / "secret.txt";
  std::ofstream(secret) << "not for the tablet";
  choose();
  fs::create_directories(tabletFolder().parent_path());  // the folder can arrive whole
  const std::string linked = (mac / "b.pdf").string();
  wrapAdb("if [ \"$3\" = push ]; then rm -f '" + linked + "'; ln -s '" + secret.string() + "' '" +
          linked + "'; fi");
  // Seen as a link, or as a copy that did not arrive as it was read (a failure: status 1).
  const ToolRun run = lumivale({"sync", "--json"});
  EXPECT_LE(run.status, 1) << run.stderrData;
  const nlohmann::json summary = nlohmann::json::parse(run.stdoutData, nullptr, false);
  EXPECT_EQ(summary["copied"], 2);
  std::vector<std::string> named;
  for (const char* list : {"notes", "failures"}) {
    for (const auto& item : summary[list])
      named.push_back(item["path"]);
  }
  EXPECT_THAT(named, ::testing::ElementsAre("b.pdf"));
  std::vector<std::string> hidden;
  EXPECT_EQ(tabletFiles(&hidden), (Files{{"a.pdf", "a"}, {"c.pdf", "c"}}));
  EXPECT_THAT(hidden, ::testing::IsEmpty());
  EXPECT_FALSE(fs::exists(fs::symlink_status(tabletFolder() / "b.pdf"))) << "nor a link";
  for (const auto& beside : fs::directory_iterator(tabletFolder().parent_path()))
    EXPECT_FALSE(beside.path().filename().string().starts_with(".lumivale-")) << beside.path();
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
