#include "core/tablet/tablet_state.h"

#include <algorithm>

namespace lumivale {
namespace {

TabletState ofConnection(const AdbDevice& connection) {
  if (connection.state == "device") return TabletState::ready;
  if (connection.state == "unauthorized") return TabletState::waitingForApproval;
  return TabletState::notAnswering;
}

}  // namespace

TabletState TabletState::of(const std::optional<AdbDevice>& selected,
                            const std::vector<AdbTablet>& tablets, bool looking,
                            const std::optional<std::string>& pinned) {
  if (selected) return ofConnection(*selected);
  if (pinned && std::none_of(tablets.begin(), tablets.end(),
                             [&](const AdbTablet& tablet) { return tablet.hasSerial(*pinned); }))
    return TabletState::chosenAway;
  if (tablets.size() > 1) return TabletState::choose;
  if (tablets.empty()) return looking ? TabletState::looking : TabletState::notConnected;
  return ofConnection(tablets.front().preferredConnection());
}

std::optional<std::string> TabletState::refusal() const {
  switch (value_) {
    case TabletState::ready:
      return std::nullopt;
    case TabletState::notConnected:
      return "Connect your Lumivale with USB-C or over Wi-Fi first.";
    case TabletState::waitingForApproval:
      return "On your Lumivale, tap Allow for this Mac first.";
    case TabletState::notAnswering:
      return "Your Lumivale is not answering. Wake it, or plug it in again.";
    case TabletState::looking:
      return "Looking for your Lumivale…";
    case TabletState::choose:
      return "Choose which Lumivale to use in Devices first.";
    case TabletState::chosenAway:
      return "The Lumivale this Mac is set to use is not connected.";
  }
  return std::nullopt;
}

std::string TabletState::name() const {
  switch (value_) {
    case TabletState::ready:
      return "ready";
    case TabletState::notConnected:
      return "notConnected";
    case TabletState::waitingForApproval:
      return "waitingForApproval";
    case TabletState::notAnswering:
      return "notAnswering";
    case TabletState::looking:
      return "looking";
    case TabletState::choose:
      return "choose";
    case TabletState::chosenAway:
      return "chosenAway";
  }
  return "";
}

}  // namespace lumivale
