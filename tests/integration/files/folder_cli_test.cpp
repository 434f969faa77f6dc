// `lumivale folder` as a user runs it, against the stand-in tablet.
#include <signal.h>

#include <fstream>
#include <iterator>
#include <map>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/integration/eventually.h"
#include "tests/integration/files/folder_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class FolderCliTest : public ReadingFolderCliTest {
 protected:
  // A folder copied once, then changed on both sides: new files, edits, deletions and a
  // file changed on both sides, so a run does every kind of step.
  void carriedOnce() {
    fs::remove_all(mac);
    fs::remove_all(tabletFolder());
    fs::remove_all(local / "config");
    fs::create_directories(local / "config");
    for (int i = 0; i < 12; ++i)
      onMac(fmt::format("r{:02}.pdf", i), fmt::format("version 1 of r{}", i));
    for (int i = 0; i < 3; ++i)
      onMac(fmt::format("d{}.pdf", i), "to be deleted");
    onMac("both.pdf", "version 1 of both");
    choose({"--remove-deleted", "on"});
    sync();
    onTabletFolder("mine.txt", "the user's");
    onTabletFolder("both.pdf", "changed on the tablet");
    onMac("both.pdf", "version 2 of both");
    for (int i = 0; i < 3; ++i)
      fs::remove(mac / fmt::format("d{}.pdf", i));
    for (int i = 0; i < 12; ++i) {
      onMac(fmt::format("r{:02}.pdf", i), fmt::format("version 2 of r{}", i));
      onMac(fmt::format("n{:02}.pdf", i), fmt::format("new file {}", i));
    }
  }
  // `lumivale folder sync --json` started as the leader of a process group of its own.
  std::shared_ptr<Spawn::Child> syncAlone() const {
    auto full = command({"sync", "--json"});
    full.insert(full.begin(), LUMIVALE_CLI_BINARY);
    return Spawn::launch("/usr/bin/setsid", full, environment, false, true);
  }
};

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

// What a run of this test's changes leaves, with or without a kill.
Files afterTheChanges() {
  Files expected{{"mine.txt", "the user's"},
                 {"both.pdf", "changed on the tablet"},
                 {"both (from Mac).pdf", "version 2 of both"}};
  for (int i = 0; i < 12; ++i) {
    expected[fmt::format("n{:02}.pdf", i)] = fmt::format("new file {}", i);
    expected[fmt::format("r{:02}.pdf", i)] = fmt::format("version 2 of r{}", i);
  }
  return expected;
}

// The same run killed at a few moments: after each, the second run ends where an
// uninterrupted run does, no visible file is ever half-written, and nothing finished is
// copied again.
TEST_F(FolderCliTest, ARunKilledAtAnyMomentIsFinishedByTheNext) {
  const fs::path journal = local / "config" / "Reading folder";
  // Each moment: a sign the run has come that far.
  const std::vector<std::pair<std::string, std::function<bool()>>> moments{
      {"a copy waits to be put in place",
       [&] {
         for (const auto& item : fs::directory_iterator(journal))
           if (item.path().string().ends_with(".set-aside.json")) return true;
         return false;
       }},
      {"a removal is done", [&] { return !fs::exists(tabletFolder() / "d0.pdf"); }},
      {"new copies are in place", [&] { return fs::exists(tabletFolder() / "n00.pdf"); }},
      {"a replacement is in place",
       [&] {
         std::ifstream in(tabletFolder() / "r05.pdf");
         std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
         return text.starts_with("version 2");
       }},
  };
  for (const auto& [moment, reached] : moments) {
    SCOPED_TRACE(moment);
    carriedOnce();
    const Files before = tabletFiles();

    auto child = syncAlone();
    // Every visible file, at every look, holds whole bytes: its old or its new version.
    const Files after = afterTheChanges();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!reached() && !child->endsBy(std::chrono::steady_clock::now())) {
      for (const auto& [path, bytes] : tabletFiles()) {
        const bool whole = (before.contains(path) && before.at(path) == bytes) ||
                           (after.contains(path) && after.at(path) == bytes);
        EXPECT_TRUE(whole) << path << " holds " << bytes;
      }
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ::kill(-child->pid(), SIGKILL);
    EXPECT_EQ(child->wait(), 128 + SIGKILL) << "the run ended before it was killed";
    const Files killed = tabletFiles();

    const nlohmann::json second = sync();
    for (const auto& step : second["done"]) {
      if (step["action"] != "copy" && step["action"] != "keepBoth") continue;
      const std::string to =
          step["action"] == "copy" ? step["to"].get<std::string>() : step["as"].get<std::string>();
      EXPECT_FALSE(killed.contains(to) && killed.at(to) == after.at(to))
          << to << " was copied again";
    }
    std::vector<std::string> hidden;
    EXPECT_EQ(tabletFiles(&hidden), after);
    EXPECT_THAT(hidden, IsEmpty());
    EXPECT_EQ(json({"plan", "--json"})["actions"], nlohmann::json::array());
  }
}

TEST_F(FolderCliTest, ARunStoppedWithCtrlCIsFinishedByTheNext) {
  carriedOnce();
  auto child = syncAlone();
  ASSERT_TRUE(eventually([&] { return fs::exists(tabletFolder() / "n00.pdf"); }));
  // As a terminal does: the whole group, adb included, gets the Ctrl-C.
  ::kill(-child->pid(), SIGINT);
  EXPECT_EQ(child->wait(), 130);
  sync();
  std::vector<std::string> hidden;
  EXPECT_EQ(tabletFiles(&hidden), afterTheChanges());
  EXPECT_THAT(hidden, IsEmpty());
}

}  // namespace
}  // namespace lumivale::testing
