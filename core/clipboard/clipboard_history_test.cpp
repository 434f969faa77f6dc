#include "core/clipboard/clipboard_history.h"

#include <gtest/gtest.h>

#include "core/clipboard/clip_text_summary.h"

namespace lumivale {
namespace {

using Origin = ClipboardHistory::Origin;
using Time = ClipboardHistory::Time;

Time at(int second) {
  return Time(std::chrono::seconds(1'700'000'000 + second));
}

std::vector<std::string> texts(const ClipboardHistory& history) {
  std::vector<std::string> out;
  for (const auto& item : history.items())
    out.push_back(item.text);
  return out;
}

TEST(ClipboardHistoryTest, OriginsReadAsTheyAreSavedAndShown) {
  for (Origin origin :
       {Origin::fromMac, Origin::fromLumivale, Origin::sentToLumivale, Origin::typedOnLumivale})
    EXPECT_EQ(ClipboardHistory::originFromRaw(ClipboardHistory::rawValue(origin)), origin);
  EXPECT_EQ(ClipboardHistory::rawValue(Origin::sentToLumivale), "sentToLumivale");
  EXPECT_EQ(ClipboardHistory::label(Origin::fromMac), "Copied on your Mac");
  EXPECT_EQ(ClipboardHistory::label(Origin::typedOnLumivale), "Typed on your Lumivale");
  EXPECT_EQ(ClipboardHistory::originFromRaw("FromMac"), std::nullopt);
}

TEST(ClipboardHistoryTest, TheSameTextFromTwoOriginsKeepsOneRowAndItsFirstLabel) {
  ClipboardHistory history;
  ASSERT_TRUE(history.record("note", Origin::fromMac, at(1)));
  ASSERT_TRUE(history.record("other", Origin::fromLumivale, at(2)));
  const std::string id = history.items()[1].id;

  auto change = history.recordChange("note", Origin::fromLumivale, at(3));
  ASSERT_TRUE(change);
  EXPECT_EQ(change->id, id);
  EXPECT_EQ(change->previousAt, at(1));
  ASSERT_EQ(history.items().size(), 2u);
  const auto& top = history.items().front();
  EXPECT_EQ(top.id, id);
  EXPECT_EQ(top.at, at(3));
  EXPECT_EQ(ClipboardHistory::label(top.origin), "Copied on your Mac");
}

TEST(ClipboardHistoryTest, ANewTextGoesInByTimeBelowThoseOfTheSameTime) {
  ClipboardHistory history;
  history.record("ten", Origin::fromMac, at(10));
  history.record("thirty", Origin::fromMac, at(30));
  history.record("twenty", Origin::fromMac, at(20));
  history.record("twenty again", Origin::fromLumivale, at(20));
  history.record("five", Origin::fromMac, at(5));
  EXPECT_EQ(texts(history),
            (std::vector<std::string>{"thirty", "twenty", "twenty again", "ten", "five"}));

  // A copy again, timed before the newest row (a late report), stays below that row.
  history.record("five", Origin::fromMac, at(25));
  EXPECT_EQ(texts(history),
            (std::vector<std::string>{"thirty", "five", "twenty", "twenty again", "ten"}));
}

TEST(ClipboardHistoryTest, TheLimitsDropTheOldestAndAHugeTextNeverStays) {
  ClipboardHistory history;
  for (int i = 0; i < 200; ++i)
    history.record("copy " + std::to_string(i), Origin::fromMac, at(i));
  auto change = history.recordChange("copy 200", Origin::fromMac, at(200));
  ASSERT_TRUE(change);
  ASSERT_EQ(history.items().size(), 200u);
  EXPECT_EQ(history.items().front().text, "copy 200");
  EXPECT_EQ(history.items().back().text, "copy 1");
  ASSERT_EQ(change->dropped.size(), 1u);
  EXPECT_EQ(change->dropped[0].text, "copy 0");

  const ClipboardHistory before = history;
  EXPECT_FALSE(history.record(std::string(2097153, 'x'), Origin::fromMac, at(300)));
  EXPECT_EQ(history, before);

  // Bytes count as well as items: two texts of 1.5 MB do not fit together.
  ClipboardHistory large;
  large.record(std::string(1'500'000, 'a'), Origin::fromMac, at(1));
  auto second = large.recordChange(std::string(1'500'000, 'b'), Origin::fromMac, at(2));
  ASSERT_TRUE(second);
  EXPECT_EQ(large.items().size(), 1u);
  EXPECT_EQ(large.totalBytes(), 1'500'000u);
  EXPECT_EQ(second->dropped.size(), 1u);
}

TEST(ClipboardHistoryTest, AnOldCopyThatAFullListWouldDropAtOnceChangesNothing) {
  ClipboardHistory history(2);
  history.record("b", Origin::fromMac, at(20));
  history.record("c", Origin::fromMac, at(30));
  const ClipboardHistory before = history;
  EXPECT_FALSE(history.recordChange("a", Origin::fromMac, at(10)));
  EXPECT_EQ(history, before);
}

TEST(ClipboardHistoryTest, UndoPutsTheListBackExactly) {
  ClipboardHistory history(3);
  history.record("a", Origin::fromMac, at(10));
  history.record("b", Origin::fromMac, at(20));
  history.record("c", Origin::fromMac, at(20));  // below "b": same time
  ClipboardHistory before = history;

  // A move: "c" had the same time as "b" and stood below it; it goes back there.
  auto moved = history.recordChange("c", Origin::fromLumivale, at(40));
  ASSERT_TRUE(moved);
  history.undo(*moved);
  EXPECT_EQ(history, before);
  // The same for the row above.
  auto movedB = history.recordChange("b", Origin::fromLumivale, at(40));
  history.undo(*movedB);
  EXPECT_EQ(history, before);

  // A drop: the new text pushed "a" out; undo removes it and brings "a" back.
  auto dropping = history.recordChange("d", Origin::fromMac, at(50));
  ASSERT_TRUE(dropping);
  ASSERT_EQ(dropping->dropped.size(), 1u);
  history.undo(*dropping);
  EXPECT_EQ(history, before);
}

TEST(ClipboardHistoryTest, RemoveAndClearKeepTheByteCountTrue) {
  ClipboardHistory history;
  history.record("abc", Origin::fromMac, at(1));
  history.record("de", Origin::fromMac, at(2));
  EXPECT_TRUE(history.remove(history.items().back().id));
  EXPECT_FALSE(history.remove("no such id"));
  EXPECT_EQ(history.totalBytes(), 2u);
  history.clear();
  EXPECT_TRUE(history.isEmpty());
  EXPECT_EQ(history.totalBytes(), 0u);
}

TEST(ClipboardHistoryTest, ConcealedAndEmptyCopiesAreNeverRecorded) {
  EXPECT_TRUE(
      ClipboardHistory::isConcealed({"public.utf8-plain-text", "org.nspasteboard.ConcealedType"}));
  EXPECT_TRUE(ClipboardHistory::isConcealed({"com.agilebits.onepassword"}));
  EXPECT_TRUE(ClipboardHistory::isConcealed({"org.nspasteboard.TransientType"}));
  EXPECT_TRUE(ClipboardHistory::isConcealed({"org.nspasteboard.AutoGeneratedType"}));
  EXPECT_FALSE(ClipboardHistory::isConcealed({"public.utf8-plain-text"}));
  EXPECT_FALSE(ClipboardHistory::mayKeep(""));
  ClipboardHistory history;
  EXPECT_FALSE(history.record("", Origin::fromMac, at(1)));
  EXPECT_TRUE(history.isEmpty());
}

TEST(ClipboardHistoryTest, RestoringSortsDropsRepeatsAndCutsToTheLimits) {
  using Item = ClipboardHistory::Item;
  std::vector<Item> saved{{"1", "old", Origin::fromMac, at(1)},
                          {"2", "new", Origin::fromLumivale, at(9)},
                          {"3", "new", Origin::fromMac, at(5)},
                          {"4", "", Origin::fromMac, at(7)},
                          {"5", "middle", Origin::typedOnLumivale, at(5)}};
  auto history = ClipboardHistory::restoring(saved, 2);
  EXPECT_EQ(texts(history), (std::vector<std::string>{"new", "middle"}));
  EXPECT_EQ(history.items()[0].id, "2");
  EXPECT_EQ(history.totalBytes(), 9u);
}

TEST(ClipboardHistoryTest, PreviewsAreShortLinesCutOnWholeCharacters) {
  auto [lines, more] = ClipboardHistory::previewLines("\n  first\tline \r\n\nsecond\nthird", 2, 80);
  EXPECT_EQ(lines, (std::vector<std::string>{"first line", "second"}));
  EXPECT_TRUE(more);
  auto [all, allShown] = ClipboardHistory::previewLines("one\n\n", 3, 80);
  EXPECT_EQ(all, std::vector<std::string>{"one"});
  EXPECT_FALSE(allShown);

  EXPECT_EQ(ClipboardHistory::oneLine("a\n b\t\tc ", 20), "a b c");
  EXPECT_EQ(ClipboardHistory::oneLine("déjà vu", 4), "déj…");
  EXPECT_EQ(ClipboardHistory::oneLine("déjà", 4), "déjà");
  EXPECT_EQ(ClipboardHistory::characters("déjà 🙂"), 6u);
  EXPECT_EQ(ClipboardHistory::characters("\xff\xfe"), 2u);

  ClipboardHistory::Item item{"id", "héllo\nworld", Origin::fromMac, at(1)};
  EXPECT_EQ(item.size(), "11 characters");
  EXPECT_EQ(item.preview(), (std::vector<std::string>{"héllo", "world"}));
  EXPECT_EQ((ClipboardHistory::Item{"id", "x", Origin::fromMac, at(1)}.size()), "1 character");
}

TEST(ClipboardHistoryTest, ASummaryCountsBytesAndCharactersOfUtf8Only) {
  auto summary = ClipTextSummary::of("été\nhiver\nprintemps", 2, 10);
  EXPECT_EQ(summary.lines, (std::vector<std::string>{"été", "hiver"}));
  EXPECT_TRUE(summary.more);
  EXPECT_EQ(summary.bytes, 21u);
  EXPECT_EQ(summary.characters, 19u);
  EXPECT_EQ(ClipTextSummary::of("a\xff", 2, 10).characters, std::nullopt);
}

}  // namespace
}  // namespace lumivale
