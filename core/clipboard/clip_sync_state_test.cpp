#include "core/clipboard/clip_sync_state.h"

#include <gtest/gtest.h>

#include "core/clipboard/clip_wire.h"
#include "core/clipboard/shared_clipboard_retry.h"

namespace lumivale {
namespace {

using Send = ClipSyncState::Send;
using Apply = ClipSyncState::Apply;
using Skip = ClipSyncState::Skip;
using Decision = ClipSyncState::Decision;

auto reads(PasteboardContent content) {
  return [content] { return content; };
}
auto readsText(const std::string& text) {
  return reads(PasteboardContent::ofText(text));
}

TEST(ClipSyncStateTest, GivenACopyOnTheComputerWeSendItOnceAndDropItsEcho) {
  ClipSyncState state;
  EXPECT_EQ(state.macChanged(1, readsText("hello")), Decision(Send{"hello"}));
  // The same change count again is no copy at all.
  EXPECT_EQ(state.macChanged(1, readsText("hello")), Decision());
  // The tablet reports our set as its own copy, before and after the ack.
  EXPECT_EQ(state.tabletChanged("hello"), Decision());
  EXPECT_EQ(state.setAcknowledged(), "hello");
  EXPECT_EQ(state.tabletChanged("hello"), Decision());
  EXPECT_TRUE(state.pendingSets.empty());
}

TEST(ClipSyncStateTest, GivenACopyOnTheTabletWeApplyItAndIgnoreOurOwnWrite) {
  ClipSyncState state;
  EXPECT_EQ(state.tabletChanged("from tablet"), Decision(Apply{"from tablet"}));
  state.ownWriteChangeCount = 7;
  // Our write is seen as a change of the computer's clipboard: not read, not sent.
  EXPECT_EQ(state.macChanged(7,
                             [] {
                               ADD_FAILURE() << "our own write was read";
                               return PasteboardContent();
                             }),
            Decision());
  // Nor is the same text when the clipboard is read for another reason.
  EXPECT_EQ(state.macChanged(8, readsText("from tablet")), Decision());
  EXPECT_EQ(state.macChanged(9, readsText("new")), Decision(Send{"new"}));
}

TEST(ClipSyncStateTest, CopiesThatMustNotGoAcrossAreSkippedWithTheirReason) {
  ClipSyncState state;
  const auto skip = [](std::string reason) {
    return Decision(Skip{ClipDirection::macToLumivale, reason});
  };
  EXPECT_EQ(state.macChanged(1, reads(PasteboardContent::of(PasteboardContent::Kind::secret))),
            skip("marked as a password"));
  EXPECT_EQ(state.macChanged(2, reads(PasteboardContent::of(PasteboardContent::Kind::notText))),
            skip("not plain text"));
  EXPECT_EQ(state.macChanged(3, readsText(std::string(ClipWire::maxTextBytes + 1, 'x'))),
            skip("larger than 256 KB"));
  EXPECT_EQ(state.macChanged(4, readsText(std::string(ClipWire::maxTextBytes, 'x'))),
            Decision(Send{std::string(ClipWire::maxTextBytes, 'x')}));
  EXPECT_EQ(state.pendingSets.size(), 1u);
}

TEST(ClipSyncStateTest, ARefusedAccessIsReportedOncePerChange) {
  ClipSyncState state;
  const auto denied = reads(PasteboardContent::of(PasteboardContent::Kind::denied));
  const Decision refused =
      Skip{ClipDirection::macToLumivale, "Mac clipboard access is off in System Settings"};
  EXPECT_EQ(state.macChanged(5, denied), refused);
  EXPECT_EQ(state.deniedChangeCount, 5);
  EXPECT_EQ(state.macChanged(5, denied), Decision());
  EXPECT_EQ(state.macChanged(6, denied), refused);
}

TEST(ClipSyncStateTest, WhileTheComputerSideChangesTheTabletWaitsAndANewerCopyWins) {
  ClipSyncState state;
  const auto changing = reads(PasteboardContent::of(PasteboardContent::Kind::changing));
  EXPECT_EQ(state.macChanged(1, changing), Decision());
  EXPECT_EQ(state.tabletChanged("tablet"), Decision());
  EXPECT_EQ(state.deferredTabletText, "tablet");
  // Read again though the count did not move; the settled copy is newer than the tablet's.
  EXPECT_EQ(state.macChanged(1, readsText("computer")), Decision(Send{"computer"}));
  EXPECT_FALSE(state.deferredTabletText);

  // When the settled read sends nothing, the tablet's text is applied then.
  EXPECT_EQ(state.tabletChanged("t0"), Decision(Apply{"t0"}));
  EXPECT_EQ(state.macChanged(2, changing), Decision());
  EXPECT_EQ(state.tabletChanged("later"), Decision());
  EXPECT_EQ(state.macChanged(2, readsText("t0")), Decision(Apply{"later"}));
  EXPECT_FALSE(state.macChanging);
}

TEST(ClipSyncStateTest, ARefusedSetLetsTheSameTextGoAcrossAgain) {
  ClipSyncState state;
  EXPECT_EQ(state.macChanged(1, readsText("big")), Decision(Send{"big"}));
  EXPECT_EQ(state.setRefused("too-large"),
            Decision(Skip{ClipDirection::macToLumivale, "larger than 256 KB"}));
  EXPECT_TRUE(state.pendingSets.empty());
  EXPECT_EQ(state.tabletChanged("big"), Decision(Apply{"big"}));
}

TEST(SharedClipboardRetryTest, StartsOnThePinnedTabletsPreferredConnectionOnceReady) {
  const auto connection = [](std::string serial, std::string state, std::string transport) {
    AdbDevice device;
    device.serial = std::move(serial);
    device.state = std::move(state);
    device.transport = std::move(transport);
    return device;
  };
  const AdbDevice usb = connection("USB1", "device", "usb");
  const AdbDevice wifi = connection("10.0.0.5:5555", "device", "tcp");
  const std::vector<AdbTablet> tablets{{"OTHER", {connection("OTHER", "device", "usb")}},
                                       {"USB1", {usb, wifi}}};
  EXPECT_EQ(SharedClipboardRetry::next("10.0.0.5:5555", tablets).startSerial, "USB1");
  EXPECT_EQ(SharedClipboardRetry::next("USB1", tablets).startSerial, "USB1");
  EXPECT_EQ(SharedClipboardRetry::next("GONE", tablets).startSerial, std::nullopt);

  AdbDevice offline = usb;
  offline.state = "offline";
  EXPECT_EQ(SharedClipboardRetry::next("USB1", {{"USB1", {offline, wifi}}}).startSerial,
            std::nullopt);
}

}  // namespace
}  // namespace lumivale
