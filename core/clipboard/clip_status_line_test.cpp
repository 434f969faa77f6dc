#include <gtest/gtest.h>

#include "core/clipboard/shared_clipboard_event.h"

namespace lumivale {
namespace {

using Kind = SharedClipboardEvent::Kind;

std::string noon(std::chrono::system_clock::time_point) {
  return "12:00";
}

TEST(ClipStatusLineTest, FollowsTheLinkThroughItsEvents) {
  ClipStatusLine line(ClipStatusLine::Route::usb, noon);
  line.apply({.kind = Kind::preparing});
  EXPECT_EQ(line.text(), "Waiting for your Lumivale");
  EXPECT_EQ(line.sidebarText(), "Sharing \u00b7 starting");

  line.apply({.kind = Kind::syncing, .text = "clipboard-service"});
  EXPECT_EQ(line.text(), "On over USB");
  EXPECT_EQ(line.sidebarText(), "");
  line.apply({.kind = Kind::synced, .direction = ClipDirection::lumivaleToMac, .characters = 3});
  EXPECT_EQ(line.text(), "On over USB \u00b7 last copy 12:00, to Mac");
  line.apply({.kind = Kind::skipped, .text = "marked as a password"});
  EXPECT_EQ(line.text(),
            "On over USB \u00b7 last copy 12:00, to Mac \u00b7 the last copy did not go across: "
            "marked as a password");
  // A copy that went across clears the failure.
  line.apply({.kind = Kind::synced, .direction = ClipDirection::macToLumivale});
  EXPECT_EQ(line.text(), "On over USB \u00b7 last copy 12:00, to Lumivale");

  line.apply({.kind = Kind::restarting, .text = "the tablet disconnected"});
  EXPECT_EQ(line.text(), "Waiting for your Lumivale");
  EXPECT_EQ(line.sidebarText(), "Sharing \u00b7 waiting");
  line.apply({.kind = Kind::failed, .text = "the tablet disconnected"});
  EXPECT_EQ(line.text(), "Stopped, waiting for your Lumivale");
}

TEST(ClipStatusLineTest, SaysWhichWayItRunsAndNeverRunsOnUnencryptedWifi) {
  ClipStatusLine wifi(ClipStatusLine::Route::wifi, noon);
  wifi.apply({.kind = Kind::syncing});
  EXPECT_EQ(wifi.text(), "On over Wi-Fi");
  wifi.apply({.kind = Kind::paused, .text = "Paused: your Lumivale is on unencrypted Wi-Fi."});
  EXPECT_EQ(wifi.text(), "Paused: unencrypted Wi-Fi");
  EXPECT_EQ(wifi.sidebarText(), "");
}

}  // namespace
}  // namespace lumivale
