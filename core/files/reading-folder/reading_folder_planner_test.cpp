#include "core/files/reading-folder/reading_folder_planner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "core/files/utf8.h"

namespace lumivale {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Plan = ReadingFolderPlan;

// The digest of a file's content, written as the content itself: enough for the planner,
// which only compares digests.
std::string digest(const std::string& content) {
  return "sha:" + content;
}

// One run's inputs, built up by each test: the computer's folder, the record and the tablet.
struct World {
  MacScan scan;
  ReadingFolderManifest manifest;
  ReadingTree tree;

  void onMac(const std::string& path, const std::string& content, double modified = 100) {
    MacFile file;
    file.path = path;
    file.size = static_cast<std::int64_t>(content.size());
    file.modified = modified;
    file.sha256 = digest(content);
    scan.files.push_back(file);
  }
  void folderOnMac(const std::string& path) { scan.folders.push_back(path); }
  void onTablet(const std::string& path, const std::string& content, double modified = 200,
                bool withDigest = false) {
    tree.items[path] = {false, static_cast<std::int64_t>(content.size()), modified,
                        withDigest ? std::optional(digest(content)) : std::nullopt, std::nullopt};
  }
  void folderOnTablet(const std::string& path) {
    tree.items[path] = {true, 0, 1, std::nullopt, std::nullopt};
  }
  // A record of `path` copied with `content`, and the copy on the tablet as it was made.
  void copied(const std::string& path, const std::string& content,
              const std::string& tabletPath = "") {
    ReadingFolderManifest::CopiedFile file;
    file.size = file.tabletSize = static_cast<std::int64_t>(content.size());
    file.modified = 100;
    file.sha256 = digest(content);
    file.tabletPath = tabletPath.empty() ? path : tabletPath;
    file.tabletModified = 200;
    manifest.files[path] = file;
    onTablet(file.tabletPath, content);
  }
  Plan plan(bool removeDeleted = false) const {
    return ReadingFolderPlanner::plan(scan, manifest, tree, removeDeleted);
  }
  std::vector<std::string> needed(bool removeDeleted = false) const {
    return ReadingFolderPlanner::digestsNeeded(scan, manifest, tree, removeDeleted);
  }
};

ReadingFolderNote note(const std::string& path, std::string_view sentence) {
  return {path, std::string(sentence)};
}

TEST(ReadingFolderPlanner, ANewFileIsCopiedOrAdoptedAndNeverPutOverTheUsersFile) {
  World world;
  world.onMac("new.pdf", "new");
  world.onMac("same.pdf", "same");
  world.onMac("other.pdf", "mine");
  world.onTablet("same.pdf", "same");
  world.onTablet("other.pdf", "user");
  world.onTablet("other (from Mac).pdf", "older user file");
  EXPECT_THAT(world.needed(), ElementsAre("other.pdf", "same.pdf"));
  // Until the digests are known, nothing is taken for the same bytes.
  EXPECT_THAT(
      world.plan().actions,
      ElementsAre(Plan::Action(Plan::Copy{"new.pdf", "new.pdf", false}),
                  Plan::Action(Plan::KeepBoth{"other.pdf", "other.pdf", "other (from Mac 2).pdf"}),
                  Plan::Action(Plan::KeepBoth{"same.pdf", "same.pdf", "same (from Mac).pdf"})));
  world.tree.items["same.pdf"].sha256 = digest("same");
  world.tree.items["other.pdf"].sha256 = digest("user");
  EXPECT_THAT(
      world.plan().actions,
      ElementsAre(Plan::Action(Plan::Copy{"new.pdf", "new.pdf", false}),
                  Plan::Action(Plan::KeepBoth{"other.pdf", "other.pdf", "other (from Mac 2).pdf"}),
                  Plan::Action(Plan::Adopt{"same.pdf", "same.pdf"})));
}

TEST(ReadingFolderPlanner, AComputerEditReplacesOnlyACopyUnchangedOnTheTablet) {
  World world;
  world.copied("a.pdf", "v1");
  world.onMac("a.pdf", "v2", 150);
  EXPECT_THAT(world.plan().actions, ElementsAre(Plan::Action(Plan::Copy{"a.pdf", "a.pdf", true})));

  // A new date on the tablet with the same size: its digest decides.
  world.onTablet("a.pdf", "v1", 999);
  EXPECT_THAT(world.needed(), ElementsAre("a.pdf"));
  world.tree.items["a.pdf"].sha256 = digest("v1");
  EXPECT_THAT(world.plan().actions, ElementsAre(Plan::Action(Plan::Copy{"a.pdf", "a.pdf", true})));

  // Changed on both sides: the tablet's version keeps the name.
  world.tree.items["a.pdf"].sha256 = digest("t1");
  Plan plan = world.plan();
  EXPECT_THAT(plan.actions,
              ElementsAre(Plan::Action(Plan::KeepBoth{"a.pdf", "a.pdf", "a (from Mac).pdf"})));
  EXPECT_EQ(plan.held, 1);
  world.onTablet("a.pdf", "tablet edit, longer");
  EXPECT_THAT(world.needed(), IsEmpty());
  EXPECT_THAT(world.plan().actions,
              ElementsAre(Plan::Action(Plan::KeepBoth{"a.pdf", "a.pdf", "a (from Mac).pdf"})));
  // Without sha256sum a changed date cannot be checked, so nothing is put over it.
  world.onTablet("a.pdf", "v1", 999);
  world.tree.hashSupported = false;
  EXPECT_THAT(world.needed(), IsEmpty());
  EXPECT_THAT(world.plan().actions,
              ElementsAre(Plan::Action(Plan::KeepBoth{"a.pdf", "a.pdf", "a (from Mac).pdf"})));
}

TEST(ReadingFolderPlanner, TheFromMacCopyIsTheOneKeptUpToDate) {
  World world;
  world.copied("a.pdf", "v2", "a (from Mac).pdf");
  world.manifest.files["a.pdf"].keptBoth = true;
  world.onTablet("a.pdf", "the tablet's version");
  world.onMac("a.pdf", "v3", 300);
  EXPECT_THAT(world.plan().actions,
              ElementsAre(Plan::Action(Plan::Copy{"a.pdf", "a (from Mac).pdf", true})));
  // Edited on the tablet too: a second copy beside, counted on.
  world.onTablet("a (from Mac).pdf", "edited on the tablet");
  EXPECT_THAT(
      world.plan().actions,
      ElementsAre(Plan::Action(Plan::KeepBoth{"a.pdf", "a (from Mac).pdf", "a (from Mac 2).pdf"})));
}

TEST(ReadingFolderPlanner, SameBytesWithANewDateOrAClockChangeCopyNothing) {
  World world;
  world.copied("a.pdf", "v1");
  world.copied("b.pdf", "v1");
  world.onMac("a.pdf", "v1", 100);
  world.onMac("b.pdf", "v1", 555);
  Plan plan = world.plan();
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.bookkeeping,
              ElementsAre(Plan::Bookkeeping(Plan::Touch{"b.pdf", "b.pdf", 2, 555})));
  EXPECT_EQ(plan.unchanged, 1);

  // The tablet's clock or zone moved every date: the digests say nothing changed.
  world.onTablet("a.pdf", "v1", 200 + 3600, true);
  world.onTablet("b.pdf", "v1", 200 - 7200, true);
  plan = world.plan();
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.notes, IsEmpty());
}

TEST(ReadingFolderPlanner, ACopyDeletedOnTheTabletComesBackOnlyWhenTheComputerFileChanges) {
  World world;
  world.copied("a.pdf", "v1");
  world.tree.items.clear();
  world.onMac("a.pdf", "v1");
  Plan plan = world.plan();
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.notes, ElementsAre(note("a.pdf", NoteText::deletedOnTablet)));
  EXPECT_THAT(plan.bookkeeping, ElementsAre(Plan::Bookkeeping(Plan::RemovedOnTablet{"a.pdf"})));

  world.manifest.files["a.pdf"].removedOnTablet = true;
  plan = world.plan(true);
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.notes, IsEmpty());
  EXPECT_THAT(plan.bookkeeping, IsEmpty());

  world.scan.files.clear();
  world.onMac("a.pdf", "v2", 300);
  EXPECT_THAT(world.plan().actions, ElementsAre(Plan::Action(Plan::Copy{"a.pdf", "a.pdf", false})));
}

TEST(ReadingFolderPlanner, AFileDeletedOnTheComputerIsRemovedOnlyWithRemovalOnAndWhenUnchanged) {
  World world;
  world.copied("gone.pdf", "v1");
  world.copied("edited.pdf", "v1");
  world.onTablet("edited.pdf", "edited on the tablet");
  world.copied("redated.pdf", "v1");
  world.onTablet("redated.pdf", "v1", 999);
  world.copied("deleted twice.pdf", "v1");
  world.tree.items.erase("deleted twice.pdf");

  Plan plan = world.plan(false);
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.bookkeeping,
              ElementsAre(Plan::Bookkeeping(Plan::Forget{"deleted twice.pdf", std::nullopt}),
                          Plan::Bookkeeping(Plan::Forget{"edited.pdf", "edited.pdf"}),
                          Plan::Bookkeeping(Plan::Forget{"gone.pdf", "gone.pdf"}),
                          Plan::Bookkeeping(Plan::Forget{"redated.pdf", "redated.pdf"})));

  world.tree.items["redated.pdf"].sha256 = digest("v1");
  plan = world.plan(true);
  EXPECT_THAT(plan.actions, ElementsAre(Plan::Action(Plan::Remove{"gone.pdf", "gone.pdf"}),
                                        Plan::Action(Plan::Remove{"redated.pdf", "redated.pdf"})));
  EXPECT_THAT(plan.notes, ElementsAre(note("edited.pdf", NoteText::keptChangedOnTablet)));

  world.tree.items["redated.pdf"].sha256.reset();
  world.tree.hashSupported = false;
  plan = world.plan(true);
  EXPECT_THAT(plan.actions, ElementsAre(Plan::Action(Plan::Remove{"gone.pdf", "gone.pdf"})));
  EXPECT_THAT(plan.notes, ElementsAre(note("edited.pdf", NoteText::keptChangedOnTablet),
                                      note("redated.pdf", NoteText::keptUncheckable)));

  // Part of the folder could not be read: nothing is removed and no record changes.
  world.scan.complete = false;
  plan = world.plan(true);
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.bookkeeping, IsEmpty());
}

TEST(ReadingFolderPlanner, AFileLeftOutOfTheScanWithANoteIsNotTakenForDeleted) {
  World world;
  world.copied("now a link.pdf", "v1");
  world.copied("Folder/inside.pdf", "v1");
  world.scan.skipped = {note("now a link.pdf", NoteText::link), note("Folder", NoteText::link)};
  const Plan plan = world.plan(true);
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.bookkeeping, IsEmpty());
  EXPECT_EQ(plan.notes, world.scan.skipped);
}

TEST(ReadingFolderPlanner, RenamesCopyUnderTheNewNameAndACapitalsOnlyRenameMovesTheCopy) {
  World world;
  world.copied("old.pdf", "v1");
  world.onMac("new.pdf", "v1");
  EXPECT_THAT(world.plan(true).actions,
              ElementsAre(Plan::Action(Plan::Remove{"old.pdf", "old.pdf"}),
                          Plan::Action(Plan::Copy{"new.pdf", "new.pdf", false})));

  World capitals;
  capitals.copied("Report.pdf", "v1");
  capitals.onMac("report.pdf", "v1", 120);
  Plan plan = capitals.plan(true);
  EXPECT_THAT(
      plan.actions,
      ElementsAre(Plan::Action(Plan::RenameCase{"Report.pdf", "report.pdf", "report.pdf"})));
  EXPECT_THAT(plan.bookkeeping,
              ElementsAre(Plan::Bookkeeping(Plan::Touch{"report.pdf", "Report.pdf", 2, 120})));
  // Renamed and edited: renamed, the record following with the old bytes, then replaced.
  capitals.scan.files.clear();
  capitals.onMac("report.pdf", "v2", 130);
  plan = capitals.plan(true);
  EXPECT_THAT(plan.actions,
              ElementsAre(Plan::Action(Plan::RenameCase{"Report.pdf", "report.pdf", "report.pdf"}),
                          Plan::Action(Plan::Copy{"report.pdf", "report.pdf", true})));
  EXPECT_THAT(plan.bookkeeping,
              ElementsAre(Plan::Bookkeeping(Plan::Touch{"report.pdf", "Report.pdf", 2, 100})));
  // The tablet copy was edited: it is not renamed, and the new name goes beside it.
  capitals.onTablet("Report.pdf", "tablet edit");
  plan = capitals.plan(true);
  EXPECT_THAT(plan.actions, ElementsAre(Plan::Action(Plan::KeepBoth{"report.pdf", "Report.pdf",
                                                                    "report (from Mac).pdf"})));
  EXPECT_THAT(plan.notes, ElementsAre(note("Report.pdf", NoteText::keptChangedOnTablet)));

  // A folder on the way renamed in capitals: the tablet's folder keeps its spelling.
  World folders;
  folders.copied("Papers/Report.pdf", "v1");
  folders.folderOnMac("papers");
  folders.folderOnTablet("Papers");
  folders.onMac("papers/report.pdf", "v1");
  plan = folders.plan(true);
  EXPECT_THAT(plan.actions, ElementsAre(Plan::Action(Plan::RenameCase{
                                "Papers/Report.pdf", "Papers/report.pdf", "papers/report.pdf"})));
  folders.scan.files.clear();
  folders.onMac("papers/Report.pdf", "v1");
  EXPECT_THAT(folders.plan(true).actions, IsEmpty());

  // Only characters the tablet does not allow changed: same tablet name, nothing to rename.
  World safe;
  safe.copied("A?.pdf", "v1", "A_.pdf");
  safe.onMac("A:.pdf", "v1");
  safe.scan.localPaths["A_.pdf"] = "A:.pdf";
  plan = safe.plan(true);
  EXPECT_THAT(plan.actions, IsEmpty());
  EXPECT_THAT(plan.bookkeeping,
              ElementsAre(Plan::Bookkeeping(Plan::Touch{"A:.pdf", "A?.pdf", 2, 100})));
}

TEST(ReadingFolderPlanner, FoldersAreMadeParentsFirstAndRemovedOnlyWhenNothingElseIsInThem) {
  World world;
  world.folderOnMac("A");
  world.folderOnMac("A/B");
  world.onMac("A/B/c.pdf", "c");
  world.folderOnMac("Blocked");
  world.onMac("Blocked/d.pdf", "d");
  world.onTablet("blocked", "a file with the folder's name");
  // Made before, deleted on the tablet, and nothing to copy into it: not made again.
  world.folderOnMac("Deleted on tablet");
  world.manifest.folders = {"Deleted on tablet", "Old", "Old/Empty", "Kept"};
  world.folderOnTablet("Old");
  world.folderOnTablet("Old/Empty");
  world.copied("Old/x.pdf", "x");
  world.folderOnTablet("Kept");
  world.onTablet("Kept/users.pdf", "the user's");

  Plan plan = world.plan(true);
  EXPECT_THAT(plan.actions, ElementsAre(Plan::Action(Plan::Remove{"Old/x.pdf", "Old/x.pdf"}),
                                        Plan::Action(Plan::MakeFolder{"A"}),
                                        Plan::Action(Plan::MakeFolder{"A/B"}),
                                        Plan::Action(Plan::Copy{"A/B/c.pdf", "A/B/c.pdf", false}),
                                        Plan::Action(Plan::RemoveFolder{"Old/Empty"}),
                                        Plan::Action(Plan::RemoveFolder{"Old"})));
  EXPECT_THAT(plan.notes, ElementsAre(note("Blocked", NoteText::fileHasFolderName),
                                      note("Kept", NoteText::folderStillHolds)));
  EXPECT_THAT(plan.bookkeeping, ElementsAre(Plan::Bookkeeping(Plan::ForgetFolder{"Kept"})));
  EXPECT_EQ(plan.held, 1);

  plan = world.plan(false);
  EXPECT_THAT(plan.bookkeeping, ::testing::Contains(Plan::Bookkeeping(Plan::ForgetFolder{"Old"})));
  for (const Plan::Action& action : plan.actions) {
    EXPECT_FALSE(std::holds_alternative<Plan::RemoveFolder>(action));
  }
}

TEST(ReadingFolderPlanner, AFolderOverALimitPlansNothingAtAllAndOneAtTheLimitPlansEverything) {
  const ReadingFolder::Limits& limits = ReadingFolder::Limits::standard;
  World world;
  for (int i = 0; i < 500; ++i)
    world.folderOnMac("f" + std::to_string(i));
  for (int i = 0; i < 2000; ++i) {
    world.onMac("f" + std::to_string(i % 500) + "/" + std::to_string(i), "x");
    world.scan.files.back().size = 8'000'000;
  }
  std::uint64_t bytes = 2000ull * 8'000'000;
  ASSERT_EQ(bytes, 16'000'000'000u);
  world.scan.overLimit = limits.overLimit(2000, 500, bytes);
  Plan plan = world.plan();
  EXPECT_EQ(plan.actions.size(), 2500u);
  EXPECT_THAT(plan.notes, IsEmpty());

  for (const auto& [files, folders, total] :
       {std::tuple{2001, 500, bytes}, {2000, 501, bytes}, {2000, 500, bytes + 1}}) {
    world.scan.overLimit = limits.overLimit(files, folders, total);
    plan = world.plan();
    EXPECT_THAT(plan.actions, IsEmpty());
    EXPECT_THAT(plan.bookkeeping, IsEmpty());
    ASSERT_EQ(plan.notes.size(), 1u);
    EXPECT_THAT(plan.notes[0].sentence,
                ::testing::EndsWith("A reading folder can hold up to 2,000 files in 500 "
                                    "folders and 16 GB, so nothing was copied. Choose a "
                                    "smaller folder."));
  }
}

// Whatever the inputs, nothing without a record is replaced, removed or renamed, and
// nothing new lands on a taken name.
TEST(ReadingFolderPlanner, NeverTouchesWhatTheUserPutOnTheTablet) {
  std::mt19937 random(14);
  const std::vector<std::string> names{"a.pdf", "A.pdf", "b.pdf", "d/c.pdf", "d/C.pdf", "e.pdf"};
  const std::vector<std::string> contents{"v1", "v2", "v3", "longer"};
  auto pick = [&](const auto& from) { return from[random() % from.size()]; };
  for (int round = 0; round < 3000; ++round) {
    World world;
    world.scan.complete = random() % 4 != 0;
    world.tree.hashSupported = random() % 3 != 0;
    std::set<std::string> onMac;
    std::set<std::string> onTablet;  // the tablet's storage holds one of "a.pdf" and "A.pdf"
    for (const std::string& name : names) {
      switch (onTablet.insert(utf8::asciiLowered(name)).second ? random() % 4 : 3) {
        case 0:
          world.copied(name, pick(contents));
          if (random() % 3 == 0) world.onTablet(name, pick(contents), random() % 2 ? 200 : 300);
          if (random() % 5 == 0) world.tree.items.erase(name);
          break;
        case 1:
          world.onTablet(name, pick(contents), 200, random() % 2 == 0);
          break;
      }
      if (random() % 2 == 0 && !onMac.contains(utf8::asciiLowered(name))) {
        onMac.insert(utf8::asciiLowered(name));
        world.onMac(name, pick(contents), random() % 2 ? 100 : 150);
      }
    }
    if (std::ranges::any_of(world.scan.files,
                            [](const MacFile& f) { return f.path.starts_with("d/"); })) {
      world.folderOnMac("d");
    }
    for (auto& [path, item] : world.tree.items) {
      if (random() % 2 == 0) item.sha256 = digest(pick(contents));
    }
    const bool removeDeleted = random() % 2 == 0;
    const Plan plan = world.plan(removeDeleted);

    std::map<std::string, std::string> recordOf;  // lower-cased tablet path to computer path
    for (const auto& [mac, copied] : world.manifest.files) {
      recordOf[utf8::asciiLowered(copied.tabletPath)] = mac;
    }
    auto isFree = [&](const std::string& path) {
      return std::ranges::none_of(world.tree.items, [&](const auto& item) {
        return utf8::asciiLowered(item.first) == utf8::asciiLowered(path);
      });
    };
    auto unchangedCopy = [&](const std::string& path) {
      const auto mac = recordOf.find(utf8::asciiLowered(path));
      if (mac == recordOf.end()) return false;
      const auto& copied = world.manifest.files.at(mac->second);
      const auto& item = std::ranges::find_if(world.tree.items, [&](const auto& entry) {
                           return utf8::asciiLowered(entry.first) == utf8::asciiLowered(path);
                         })->second;
      return item.size == copied.tabletSize &&
             (item.modified == copied.tabletModified || item.sha256 == copied.sha256);
    };
    for (const Plan::Action& action : plan.actions) {
      if (const auto* copy = std::get_if<Plan::Copy>(&action)) {
        EXPECT_TRUE(copy->replacing ? unchangedCopy(copy->to) : isFree(copy->to)) << copy->to;
      } else if (const auto* remove = std::get_if<Plan::Remove>(&action)) {
        EXPECT_TRUE(world.scan.complete && removeDeleted && unchangedCopy(remove->at));
      } else if (const auto* rename = std::get_if<Plan::RenameCase>(&action)) {
        EXPECT_TRUE(unchangedCopy(rename->from));
      } else if (const auto* keep = std::get_if<Plan::KeepBoth>(&action)) {
        const std::size_t slash = keep->beside.rfind('/');
        EXPECT_TRUE(isFree(keep->beside.substr(0, slash + 1) + keep->as)) << keep->as;
      } else if (const auto* adopt = std::get_if<Plan::Adopt>(&action)) {
        EXPECT_FALSE(recordOf.contains(utf8::asciiLowered(adopt->at)));
      }
    }
  }
}

}  // namespace
}  // namespace lumivale
