#include "core/clipboard/clipboard_history_copy.h"

#include <vector>

#include <gtest/gtest.h>

#include "core/error.h"

namespace lumivale {
namespace {

using Origin = ClipboardHistory::Origin;

ClipboardHistory::Time at(int second) {
  return ClipboardHistory::Time(std::chrono::seconds(1'700'000'000 + second));
}

// A clipboard that takes texts, or refuses them with the tablet's own kind of failure.
struct FakeHandOff : ClipHandOff {
  std::vector<std::string> handed;
  bool fails = false;
  void hand(const std::string& text) override {
    if (fails) throw Error("Your Lumivale is not answering. Wake it, or plug it in again.");
    handed.push_back(text);
  }
};

// Two rows and a third at the limit, so that a new text pushes the oldest out.
ClipboardHistory fullList() {
  ClipboardHistory history(3);
  history.record("old", Origin::fromMac, at(1));
  history.record("kept", Origin::fromLumivale, at(2));
  history.record("newest", Origin::typedOnLumivale, at(3));
  return history;
}

TEST(ClipboardHistoryCopyTest, ASendThatReachesTheTabletIsListedAsSent) {
  ClipboardHistory history = fullList();
  ClipboardHistoryRecorder recorder(history);
  FakeHandOff tablet;
  sendToTablet(recorder, "fresh", at(4), tablet);
  EXPECT_EQ(tablet.handed, std::vector<std::string>{"fresh"});
  EXPECT_EQ(history.items().front().text, "fresh");
  EXPECT_EQ(ClipboardHistory::label(history.items().front().origin), "Sent to your Lumivale");
  EXPECT_EQ(history.items().back().text, "kept");
}

TEST(ClipboardHistoryCopyTest, AFailedSendPutsTheListBackExactly) {
  for (const std::string& text : {std::string("fresh"), std::string("old")}) {
    ClipboardHistory history = fullList();
    const ClipboardHistory before = history;
    ClipboardHistoryRecorder recorder(history);
    FakeHandOff tablet;
    tablet.fails = true;
    EXPECT_THROW(sendToTablet(recorder, text, at(4), tablet), Error) << text;
    EXPECT_EQ(history, before) << text;  // a new text's drop, or a move, taken back
  }
}

TEST(ClipboardHistoryCopyTest, CopyingAgainGoesWhereAskedTabletFirst) {
  FakeHandOff computer, tablet;
  copyAgain("a", CopyDestination::computer, computer, tablet);
  copyAgain("b", CopyDestination::tablet, computer, tablet);
  copyAgain("c", CopyDestination::both, computer, tablet);
  EXPECT_EQ(computer.handed, (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(tablet.handed, (std::vector<std::string>{"b", "c"}));

  tablet.fails = true;
  EXPECT_THROW(copyAgain("d", CopyDestination::both, computer, tablet), Error);
  EXPECT_EQ(computer.handed.back(), "c");

  EXPECT_EQ(copyDestinationNamed("both"), CopyDestination::both);
  EXPECT_EQ(copyDestinationNamed("mac"), std::nullopt);
}

}  // namespace
}  // namespace lumivale
