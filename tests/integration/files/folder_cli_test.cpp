// `lumivale folder` as a user runs it, against the stand-in tablet.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/integration/files/folder_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

TEST_F(FolderCliTest, AFirstCopyThenAnEditHereReplacesTheUnchangedCopy) {
  const ToolRun none = lumivale({"sync"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.stderrData,
            "lumivale: no reading folder is chosen yet; choose one with lumivale folder choose "
            "PATH\n");
  onMac("a.pdf", "version 1");
  onMac("Sub/b.txt", "b");
  onMac("Notes?.pdf", "notes");
  choose();

  const ToolRun first = lumivale({"sync"});
  ASSERT_EQ(first.status, 0) << first.stderrData;
  EXPECT_THAT(first.stdoutData, HasSubstr("3 copied, 0 replaced"));
  EXPECT_EQ(tabletFiles(),
            (Files{{"Notes_.pdf", "notes"}, {"Sub/b.txt", "b"}, {"a.pdf", "version 1"}}));

  onMac("a.pdf", "version 2, longer");
  const ToolRun second = lumivale({"sync"});
  ASSERT_EQ(second.status, 0) << second.stderrData;
  EXPECT_THAT(second.stdoutData, HasSubstr("replace    a.pdf\n"));
  EXPECT_THAT(second.stdoutData, HasSubstr("0 copied, 1 replaced"));
  EXPECT_EQ(tabletFiles().at("a.pdf"), "version 2, longer");

  const ToolRun status = lumivale({"status"});
  ASSERT_EQ(status.status, 0) << status.stderrData;
  EXPECT_THAT(status.stdoutData, HasSubstr("3 files copied, last synced"));
}

TEST_F(FolderCliTest, AnEditOnBothSidesKeepsTheTabletsVersionAndPutsThisOneBeside) {
  onMac("Book.pdf", "version 1");
  choose();
  sync();
  onMac("Book.pdf", "version 2");
  onTabletFolder("Book.pdf", "marked up on the tablet");
  const nlohmann::json summary = sync();
  EXPECT_EQ(summary["keptBoth"], 1);
  EXPECT_EQ(tabletFiles(),
            (Files{{"Book.pdf", "marked up on the tablet"}, {"Book (from Mac).pdf", "version 2"}}));
}

TEST_F(FolderCliTest, WhatTheUserPutOnTheTabletIsNeverTouched) {
  onMac("a.pdf", "ours");
  onMac("gone.pdf", "ours");
  onTabletFolder("a.pdf", "the user's a.pdf");
  onTabletFolder("mine.pdf", "the user's own");
  onTabletFolder("Sub/notes.txt", "the user's notes");
  choose({"--remove-deleted", "on"});
  sync();
  fs::remove(mac / "gone.pdf");
  const nlohmann::json summary = sync();
  EXPECT_EQ(summary["removed"], 1);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "the user's a.pdf"},
                                  {"a (from Mac).pdf", "ours"},
                                  {"mine.pdf", "the user's own"},
                                  {"Sub/notes.txt", "the user's notes"}}));
}

TEST_F(FolderCliTest, ThePlanIsExactlyWhatTheNextSyncDoes) {
  for (const std::string name : {"keep.pdf", "edit.pdf", "both.pdf", "gone.pdf", "Sub/x.txt"})
    onMac(name, "first " + name);
  choose({"--remove-deleted", "on"});
  sync();
  onMac("edit.pdf", "second");
  onMac("both.pdf", "second");
  onTabletFolder("both.pdf", "changed on the tablet");
  fs::remove(mac / "gone.pdf");
  onMac("New/new.pdf", "new");
  onMac("what?.pdf", "asked");

  const nlohmann::json plan = json({"plan", "--json"});
  EXPECT_EQ(plan["actions"].size(), 6u) << plan.dump(2);
  // The preview changes nothing.
  EXPECT_EQ(json({"plan", "--json"}), plan);
  const nlohmann::json done = sync();
  EXPECT_EQ(done["done"], plan["actions"]);
  EXPECT_EQ(done["failures"], nlohmann::json::array());
  EXPECT_EQ(json({"plan", "--json"})["actions"], nlohmann::json::array());
}

TEST_F(FolderCliTest, ACopyDeletedOnTheTabletComesBackOnlyWhenTheFileChangesHere) {
  onMac("a.pdf", "version 1");
  choose();
  sync();
  fs::remove(tabletFolder() / "a.pdf");
  const nlohmann::json first = sync();
  EXPECT_EQ(first["notes"][0]["sentence"],
            "deleted on the Lumivale; it is copied again when it changes on the Mac");
  EXPECT_EQ(sync()["done"], nlohmann::json::array());
  EXPECT_EQ(tabletFiles(), Files{});
  onMac("a.pdf", "version 2");
  EXPECT_EQ(sync()["copied"], 1);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "version 2"}}));
}

// Same size, and the date put back to the second it had: the bytes still tell.
TEST_F(FolderCliTest, AnEditOfTheSameSizeInTheSameSecondIsStillCopied) {
  onMac("a.txt", "AAAA");
  choose();
  sync();
  const auto date = fs::last_write_time(mac / "a.txt");
  onMac("a.txt", "BBBB");
  fs::last_write_time(mac / "a.txt", date);
  EXPECT_EQ(sync()["replaced"], 1);
  EXPECT_EQ(tabletFiles(), (Files{{"a.txt", "BBBB"}}));
}

TEST_F(FolderCliTest, AnotherTimeZoneCopiesNothingAgain) {
  onMac("a.pdf", "a");
  onMac("Sub/b.pdf", "b");
  choose();
  sync();
  environment["TZ"] = "Pacific/Kiritimati";
  const nlohmann::json again = sync();
  EXPECT_EQ(again["done"], nlohmann::json::array());
  EXPECT_EQ(again["unchanged"], 2);
}

TEST_F(FolderCliTest, NamesTheTabletCannotHoldAreMadeSafeOrNoted) {
  onMac("a.pdf", "lower");
  onMac("A.pdf", "upper");
  onMac("caf\xe9.txt", "latin-1 name");
  onMac(std::string(251, 'n') + ".pdf", "longest name");  // 255 bytes, the most there is
  choose();
  const nlohmann::json summary = sync();
  EXPECT_EQ(summary["copied"], 3);
  const Files onTablet = tabletFiles();
  EXPECT_EQ(onTablet.size(), 3u);
  EXPECT_EQ(onTablet.at("caf_.txt"), "latin-1 name");
  EXPECT_EQ(onTablet.at(std::string(251, 'n') + ".pdf"), "longest name");
  ASSERT_EQ(summary["notes"].size(), 1u);
  EXPECT_EQ(summary["notes"][0]["sentence"],
            "another file here has the same name on the Lumivale (the names differ only in "
            "capitals or in characters the Lumivale does not allow), so this one was not copied");
}

TEST_F(FolderCliTest, WithRemovalOffAFileDeletedHereStaysOnTheTablet) {
  onMac("a.pdf", "a");
  onMac("b.pdf", "b");
  choose();
  sync();
  fs::remove(mac / "a.pdf");
  EXPECT_EQ(sync()["removed"], 0);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a"}, {"b.pdf", "b"}}));
  // Turning removal on later does not remove what was deleted while it was off.
  choose({"--remove-deleted", "on"});
  EXPECT_EQ(sync()["removed"], 0);
  fs::remove(mac / "b.pdf");
  EXPECT_EQ(sync()["removed"], 1);
  EXPECT_EQ(tabletFiles(), (Files{{"a.pdf", "a"}}));
}

}  // namespace
}  // namespace lumivale::testing
