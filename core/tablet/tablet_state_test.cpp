#include "core/tablet/tablet_state.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

AdbDevice cable(std::string serial, std::string state = "device") {
  return {std::move(serial), std::move(state), "LV_1", "usb"};
}
AdbDevice wifi(std::string serial, std::string state = "device") {
  return {std::move(serial), std::move(state), "LV_1", "tcp"};
}

TEST(TabletStateTest, ASelectedConnectionDecidesByItsState) {
  std::vector<AdbTablet> none;
  EXPECT_EQ(TabletState::of(cable("A"), none, false, "Z"), TabletState::ready);
  EXPECT_EQ(TabletState::of(cable("A", "unauthorized"), none, false, std::nullopt),
            TabletState::waitingForApproval);
  EXPECT_EQ(TabletState::of(cable("A", "offline"), none, true, std::nullopt),
            TabletState::notAnswering);
}

TEST(TabletStateTest, AChosenTabletThatIsAwayWinsOverOthersThatAreHere) {
  std::vector<AdbTablet> other{{"B", {cable("B")}}};
  EXPECT_EQ(TabletState::of(std::nullopt, other, false, "A"), TabletState::chosenAway);
  EXPECT_EQ(TabletState::of(std::nullopt, {}, true, "A"), TabletState::chosenAway);
  // Found by one of its connections rather than its own serial.
  std::vector<AdbTablet> byWifi{{"A", {wifi("10.0.0.2:5555")}}};
  EXPECT_EQ(TabletState::of(std::nullopt, byWifi, false, "10.0.0.2:5555"), TabletState::ready);
}

TEST(TabletStateTest, WithoutAChoiceTheCountDecides) {
  std::vector<AdbTablet> two{{"A", {cable("A")}}, {"B", {cable("B")}}};
  EXPECT_EQ(TabletState::of(std::nullopt, two, false, std::nullopt), TabletState::choose);
  EXPECT_EQ(TabletState::of(std::nullopt, {}, true, std::nullopt), TabletState::looking);
  EXPECT_EQ(TabletState::of(std::nullopt, {}, false, std::nullopt), TabletState::notConnected);
  // One tablet on Wi-Fi and cable: the cable's state counts.
  std::vector<AdbTablet> one{{"A", {wifi("10.0.0.2:5555"), cable("A", "unauthorized")}}};
  EXPECT_EQ(TabletState::of(std::nullopt, one, false, std::nullopt),
            TabletState::waitingForApproval);
  std::vector<AdbTablet> asleep{{"A", {wifi("10.0.0.2:5555", "offline")}}};
  EXPECT_EQ(TabletState::of(std::nullopt, asleep, false, std::nullopt), TabletState::notAnswering);
}

TEST(TabletStateTest, EveryStateButReadyHasItsRefusal) {
  EXPECT_EQ(TabletState(TabletState::ready).refusal(), std::nullopt);
  const std::pair<TabletState::Value, const char*> table[] = {
      {TabletState::notConnected, "Connect your Lumivale with USB-C or over Wi-Fi first."},
      {TabletState::waitingForApproval, "On your Lumivale, tap Allow for this Mac first."},
      {TabletState::notAnswering, "Your Lumivale is not answering. Wake it, or plug it in again."},
      {TabletState::looking, "Looking for your Lumivale…"},
      {TabletState::choose, "Choose which Lumivale to use in Devices first."},
      {TabletState::chosenAway, "The Lumivale this Mac is set to use is not connected."},
  };
  for (const auto& [state, sentence] : table)
    EXPECT_EQ(TabletState(state).refusal(), sentence) << TabletState(state).name();
}

}  // namespace
}  // namespace lumivale
