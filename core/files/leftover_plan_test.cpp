// Clean-up's decisions over scripted folder listings: each kind of leftover with the
// program that made it still running, gone, or not known.
#include "core/files/leftover_plan.h"

#include <gtest/gtest.h>

#include "core/files/adb_files.h"

namespace lumivale {
namespace {

using Does = CleanUpStep::Does;
using Operation = StagingRecord::Operation;
using namespace std::chrono_literals;

const Timestamp now = Timestamp(std::chrono::seconds(1'800'000'000));

struct Listing {
  StagingFolder state{"/sdcard/Books", {}, {}, now};

  Listing& item(const std::string& name, std::chrono::minutes age = 0min,
                RemoteEntry::Kind kind = RemoteEntry::Kind::file) {
    state.entries.push_back({name, state.folder + "/" + name, kind, 1, now - age});
    return *this;
  }
  Listing& record(const std::string& id, Operation operation, const std::string& name, bool running,
                  const std::string& newName = {}) {
    item(StagingRecord::fileName(id));
    state.records[id] = {StagingRecord{id, operation, name, newName, "desk", 4242, 0}, running};
    return *this;
  }
  std::vector<CleanUpStep> steps() const { return LeftoverPlan::steps(state); }
};

std::string staged(std::string_view prefix, const std::string& id = "ab12") {
  return std::string(prefix) + id;
}

// (what is done, the item's name, where it goes) for each step, in order.
std::vector<std::tuple<Does, std::string, std::string>> summary(
    const std::vector<CleanUpStep>& steps) {
  std::vector<std::tuple<Does, std::string, std::string>> out;
  for (const auto& step : steps) {
    const auto slash = step.to.rfind('/');
    out.emplace_back(step.does, step.path.substr(step.path.rfind('/') + 1),
                     slash == std::string::npos ? "" : step.to.substr(slash + 1));
  }
  return out;
}

const std::string renaming = staged(AdbFiles::renamingPrefix);
const std::string partial = staged(AdbFiles::partialPrefix);
const std::string kept = staged(AdbFiles::keptPrefix);
const std::string deleting = staged(AdbFiles::deletingPrefix);
const std::string record = StagingRecord::fileName("ab12");

TEST(LeftoverPlanTest, AnUnfinishedRenameGoesBackToItsOldNameOrOnToItsNewOne) {
  auto free = Listing().item(renaming).record("ab12", Operation::rename, "a.pdf", false, "b.pdf");
  EXPECT_EQ(summary(free.steps()),
            (decltype(summary({})){{Does::putBack, renaming, "a.pdf"}, {Does::erase, record, ""}}));

  // The storage ignores case: "A.PDF" holds the old name.
  auto oldTaken = free;
  oldTaken.item("A.PDF");
  const auto steps = oldTaken.steps();
  EXPECT_EQ(summary(steps), (decltype(summary({})){{Does::putUnderNewName, renaming, "b.pdf"},
                                                   {Does::erase, record, ""}}));
  EXPECT_EQ(steps[0].sentence(),
            "/sdcard/Books/" + renaming +
                " is 'a.pdf', part way through a rename to 'b.pdf'; 'a.pdf' is taken, so clean-up "
                "puts it under its new name 'b.pdf'");

  auto bothTaken = oldTaken;
  bothTaken.item("b.pdf");
  EXPECT_EQ(summary(bothTaken.steps()), (decltype(summary({})){{Does::keep, renaming, ""}}));

  // A change of capitals: both names are the one that is free.
  auto capitals =
      Listing().item(renaming).record("ab12", Operation::rename, "Book.pdf", false, "book.pdf");
  EXPECT_EQ(summary(capitals.steps())[0], std::make_tuple(Does::putBack, renaming, "Book.pdf"));
}

TEST(LeftoverPlanTest, AnOldCopySetAsideGoesBackBeforeTheNewOneIsErased) {
  auto aside = Listing().item(kept).item(partial).record("ab12", Operation::copy, "Set", false);
  EXPECT_EQ(summary(aside.steps()), (decltype(summary({})){{Does::putBack, kept, "Set"},
                                                           {Does::erase, partial, ""},
                                                           {Does::erase, record, ""}}));

  // The new copy took the name: the old one is what the replacement was to erase.
  auto replaced = Listing().item("Set").item(kept).record("ab12", Operation::copy, "Set", false);
  EXPECT_EQ(summary(replaced.steps()),
            (decltype(summary({})){{Does::erase, kept, ""}, {Does::erase, record, ""}}));

  // Something else took the name while both copies are staged: nothing is erased.
  auto crowded = aside;
  crowded.item("set");
  EXPECT_EQ(summary(crowded.steps()),
            (decltype(summary({})){{Does::keep, kept, ""}, {Does::keep, partial, ""}}));
}

TEST(LeftoverPlanTest, UnfinishedCopiesAndDeletesAreErasedOnceTheirProgramIsGone) {
  auto copy = Listing().item("a.pdf").item(partial).record("ab12", Operation::copy, "a.pdf", false);
  EXPECT_EQ(summary(copy.steps()),
            (decltype(summary({})){{Does::erase, partial, ""}, {Does::erase, record, ""}}));
  auto gone = Listing().item(deleting).record("ab12", Operation::remove, "a.pdf", false);
  EXPECT_EQ(summary(gone.steps()),
            (decltype(summary({})){{Does::erase, deleting, ""}, {Does::erase, record, ""}}));
  // A record whose items are all gone goes too, and one never moved into place.
  EXPECT_EQ(summary(Listing().record("ab12", Operation::copy, "a.pdf", false).steps()),
            (decltype(summary({})){{Does::erase, record, ""}}));
  // A half-written one is erased too: whoever still writes it fails before staging anything.
  auto pending = Listing().item(record + ".new").item(StagingRecord::fileName("cd34") + ".new");
  pending.state.records["ab12"] = {StagingRecord{"ab12", Operation::copy, "a", {}, "d", 1, 0},
                                   true};
  EXPECT_EQ(summary(pending.steps()),
            (decltype(summary({})){{Does::erase, StagingRecord::fileName("cd34") + ".new", ""}}));
}

TEST(LeftoverPlanTest, WhatARunningProgramOwnsIsLeftAlone) {
  for (const auto& [name, operation] :
       std::vector<std::pair<std::string, Operation>>{{renaming, Operation::rename},
                                                      {partial, Operation::copy},
                                                      {kept, Operation::copy},
                                                      {deleting, Operation::remove}}) {
    auto listing = Listing().item(name, 600min).record("ab12", operation, "a.pdf", true, "b.pdf");
    const auto steps = listing.steps();
    EXPECT_EQ(summary(steps), (decltype(summary({})){{Does::keep, name, ""}})) << name;
    EXPECT_NE(steps[0].why.find("still at work on it (process 4242 on desk)"), std::string::npos);
    EXPECT_TRUE(LeftoverPlan::sweep(listing.state).empty()) << name;
  }
}

TEST(LeftoverPlanTest, WithoutARecordOnlyOldUnfinishedCopiesAndDeletesAreErased) {
  auto young = Listing().item(partial, 5min).item(deleting, 5min);
  EXPECT_EQ(summary(young.steps()),
            (decltype(summary({})){{Does::keep, partial, ""}, {Does::keep, deleting, ""}}));
  auto old = Listing().item(partial, 120min).item(deleting, 120min);
  EXPECT_EQ(summary(old.steps()),
            (decltype(summary({})){{Does::erase, partial, ""}, {Does::erase, deleting, ""}}));
  // An item that may be the only copy of something is never erased on a guess.
  auto owned = Listing().item(kept, 9000min).item(renaming, 9000min);
  const auto steps = owned.steps();
  EXPECT_EQ(summary(steps),
            (decltype(summary({})){{Does::keep, kept, ""}, {Does::keep, renaming, ""}}));
  EXPECT_EQ(steps[1].sentence(),
            "/sdcard/Books/" + renaming +
                " is an item part way through a rename, whose name was not recorded; it is kept: "
                "Lumivale cannot tell which name it belongs to. Rename it to give it a name again, "
                "or delete it");
}

TEST(LeftoverPlanTest, ASweepTakesOnlyCopiesThatNothingElseNeeds) {
  auto listing = Listing()
                     .item(kept)
                     .item(partial)
                     .record("ab12", Operation::copy, "Set", false)
                     .item(staged(AdbFiles::partialPrefix, "cd34"))
                     .record("cd34", Operation::copy, "b.pdf", false)
                     .item(staged(AdbFiles::renamingPrefix, "ef56"))
                     .record("ef56", Operation::rename, "c.pdf", false, "d.pdf");
  EXPECT_EQ(summary(LeftoverPlan::sweep(listing.state)),
            (decltype(summary({})){{Does::erase, staged(AdbFiles::partialPrefix, "cd34"), ""},
                                   {Does::erase, StagingRecord::fileName("cd34"), ""}}));
}

TEST(LeftoverPlanTest, ListedLeftoversSayTheirKindAndTheNameTheyBelongTo) {
  auto listing = Listing().item("x.pdf").item(kept).record("ab12", Operation::copy, "Set", false);
  const auto items = LeftoverPlan::items(listing.state);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].kind, Leftover::keptCopy);
  EXPECT_EQ(items[0].belongsTo, "Set");
  EXPECT_EQ(items[0].about, "/sdcard/Books/" + kept +
                                " is the old 'Set', set aside while it was being replaced; "
                                "clean-up puts it back as 'Set'");
}

TEST(StagingRecordTest, RecordsReadBackToBackAndHalfRecordsAreSkipped) {
  const StagingRecord rename{"0a1b", Operation::rename, "it's = here.pdf", "b.pdf", "desk", 7, 9};
  const StagingRecord copy{"2c3d", Operation::copy, "Set", "", "desk", 8, 10};
  std::string text;
  for (const auto& line : rename.lines())
    text += line + "\n";
  text += "lumivale staging record 1\nid=9999\noperation=copy\n";  // cut short
  for (const auto& line : copy.lines())
    text += line + "\n";
  EXPECT_EQ(StagingRecord::parseAll(text), (std::vector<StagingRecord>{rename, copy}));
  EXPECT_EQ(StagedName::of(".lumivale-partial-old-2c3d")->kind, Leftover::keptCopy);
  EXPECT_EQ(StagedName::of(".lumivale-partial-2c3d")->id, "2c3d");
  EXPECT_FALSE(StagedName::of("lumivale-partial-2c3d"));
}

}  // namespace
}  // namespace lumivale
