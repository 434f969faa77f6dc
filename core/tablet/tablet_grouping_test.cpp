#include "core/tablet/tablet_grouping.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

AdbParse::ParsedDevice line(const std::string& raw) {
  return AdbParse::devices(raw).at(0);
}

std::vector<std::string> serialsOf(const std::vector<AdbParse::ParsedDevice>& parsed) {
  std::vector<std::string> serials;
  for (const auto& entry : parsed)
    serials.push_back(entry.device.serial);
  return serials;
}

const AdbDevice cable{"LV1CABLE", "device", "LV_1", "usb"};
const AdbDevice wifi{"10.0.0.2:5555", "device", "LV_1", "tcp"};

RememberedTablet rememberedBy(std::optional<std::string> userId) {
  return {.serial = "LV1CABLE",
          .lastIP = "10.0.0.2",
          .lastPort = 5555,
          .accountUserId = std::move(userId)};
}

TEST(TabletGroupingTest, OnlyLv1LinesCountUnlessAllAreAsked) {
  std::vector<AdbParse::ParsedDevice> parsed{
      line("A device usb:1-1 product:other model:Pixel device:x"),
      line("B device usb:1-2 device:tolva"),
      line("127.0.0.1:5601 device product:sdk model:Emu device:generic"),
  };
  EXPECT_EQ(serialsOf(AdbTablets::select(parsed, true, {})), std::vector<std::string>{"B"});
  EXPECT_EQ(serialsOf(AdbTablets::select(parsed, false, {})).size(), 3u);

  StandinHooks standin{"127.0.0.1:5601", false};
  auto withStandin = AdbTablets::select(parsed, true, standin);
  EXPECT_EQ(serialsOf(withStandin), (std::vector<std::string>{"B", "127.0.0.1:5601"}));
  EXPECT_FALSE(withStandin[1].device.isWifi()) << "a stand-in counts as cabled";
  standin.only = true;
  EXPECT_EQ(serialsOf(AdbTablets::select(parsed, false, standin)),
            std::vector<std::string>{"127.0.0.1:5601"});
}

TEST(TabletGroupingTest, TheChosenOrRememberedTabletCountsWithoutItsModelPieces) {
  // adb lists a tablet waiting for approval, or offline, without model, product or device.
  std::vector<AdbParse::ParsedDevice> parsed{
      line("LV1CABLE unauthorized usb:1-1 transport_id:3"),
      line("10.0.0.2:5555 offline transport_id:4"),
      line("OTHER unauthorized usb:1-2 transport_id:5"),
  };
  EXPECT_TRUE(AdbTablets::select(parsed, true, {}).empty());
  EXPECT_EQ(serialsOf(AdbTablets::select(parsed, true, {}, {"LV1CABLE", {}})),
            std::vector<std::string>{"LV1CABLE"});
  EXPECT_EQ(serialsOf(AdbTablets::select(parsed, true, {}, {std::nullopt, {rememberedBy("u1")}})),
            (std::vector<std::string>{"LV1CABLE", "10.0.0.2:5555"}));

  auto selected = AdbTablets::select(parsed, true, {}, {"LV1CABLE", {}});
  auto choice = AdbTablets::choose(AdbTablets::group({selected[0].device}, {}, std::nullopt),
                                   std::string("LV1CABLE"));
  EXPECT_EQ(choice.state, TabletState::waitingForApproval);
  EXPECT_EQ(choice.state.refusal(), "On your Lumivale, tap Allow for this Mac first.");
}

TEST(TabletGroupingTest, StandinHooksAreOffInCustomerBuilds) {
  Environment environment{{"LUMIVALE_STANDIN_SERIAL", "X"}, {"LUMIVALE_STANDIN_ONLY", "1"}};
  EXPECT_EQ(StandinHooks::from(environment, BuildFlavour::customer).serial, std::nullopt);
  auto hooks = StandinHooks::from(environment, BuildFlavour::internal);
  EXPECT_EQ(hooks.serial, "X");
  EXPECT_TRUE(hooks.only);
  EXPECT_FALSE(StandinHooks::from({{"LUMIVALE_STANDIN_ONLY", "1"}}, BuildFlavour::debug).only);
}

TEST(TabletGroupingTest, CableAndWifiOfOneTabletAreOneTabletPreferringTheCable) {
  auto tablets = AdbTablets::group({wifi, cable}, {rememberedBy("u1")}, "u1");
  ASSERT_EQ(tablets.size(), 1u);
  EXPECT_EQ(tablets[0].serial, "LV1CABLE");
  EXPECT_EQ(tablets[0].connections.size(), 2u);
  EXPECT_EQ(tablets[0].preferredConnection(), cable);

  // Wi-Fi preferred: the ready Wi-Fi connection, else still the cable.
  EXPECT_EQ(tablets[0].preferredConnection(true), wifi);
  AdbDevice offline = wifi;
  offline.state = "offline";
  auto away = AdbTablets::group({offline, cable}, {rememberedBy("u1")}, "u1");
  EXPECT_EQ(away[0].preferredConnection(true), cable);
  EXPECT_EQ(AdbTablets::choose(tablets, std::nullopt, false, true).selected, wifi);

  // Wi-Fi alone, by the remembered mDNS name.
  RememberedTablet byName = rememberedBy("u1");
  byName.mdnsName = "adb-LV1CABLE-xyz";
  AdbDevice mdns{"adb-LV1CABLE-xyz._adb-tls-connect._tcp", "device", "LV_1", "tcp"};
  auto alone = AdbTablets::group({mdns}, {byName}, "u1");
  ASSERT_EQ(alone.size(), 1u);
  EXPECT_EQ(alone[0].serial, "LV1CABLE");
  EXPECT_EQ(alone[0].preferredConnection(), mdns);
}

TEST(TabletGroupingTest, WifiCountsOnlyForTabletsOfTheAccountSignedIn) {
  EXPECT_TRUE(AdbTablets::group({wifi}, {}, "u1").empty());
  EXPECT_TRUE(AdbTablets::group({wifi}, {rememberedBy("u2")}, "u1").empty());
  EXPECT_TRUE(AdbTablets::group({wifi}, {rememberedBy("u1")}, std::nullopt).empty());
  // Signed out, no account can have remembered it, not even one that never signed in.
  EXPECT_TRUE(AdbTablets::group({wifi}, {rememberedBy(std::nullopt)}, std::nullopt).empty());
  EXPECT_EQ(AdbTablets::group({wifi, cable}, {rememberedBy(std::nullopt)}, std::nullopt).size(), 1u)
      << "the cable still counts";
}

TEST(TabletGroupingTest, ChoosingFollowsThePinnedTablet) {
  AdbDevice other{"OTHER", "unauthorized", std::nullopt, "usb"};
  auto tablets = AdbTablets::group({wifi, cable, other}, {rememberedBy("u1")}, "u1");
  auto pinnedByWifi = AdbTablets::choose(tablets, "10.0.0.2:5555");
  EXPECT_EQ(pinnedByWifi.selected, cable);
  EXPECT_EQ(pinnedByWifi.state, TabletState::ready);
  EXPECT_EQ(AdbTablets::choose(tablets, "OTHER").state, TabletState::waitingForApproval);
  EXPECT_EQ(AdbTablets::choose(tablets, std::nullopt).state, TabletState::choose);
  EXPECT_EQ(AdbTablets::choose(tablets, "GONE").state, TabletState::chosenAway);
  EXPECT_EQ(AdbTablets::choose({}, std::nullopt, true).state, TabletState::looking);
}

}  // namespace
}  // namespace lumivale
