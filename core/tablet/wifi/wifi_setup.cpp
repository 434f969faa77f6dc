#include "core/tablet/wifi/wifi_setup.h"

#include <chrono>
#include <random>

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_parse.h"
#include "core/utc_now.h"

namespace lumivale::WifiSetup {
namespace {

constexpr Seconds kStep{10};
constexpr Seconds kBackOnCable{30};

std::string randomHex(size_t length) {
  static constexpr char digits[] = "0123456789abcdef";
  std::random_device random;
  std::string text;
  for (size_t i = 0; i < length; ++i)
    text += digits[random() % 16];
  return text;
}

std::string firstLine(const std::string& text) {
  auto lines = AdbParse::lines(text);
  return lines.empty() ? "" : std::string(lines.front());
}

// The port network debugging listens on, or none while it is off.
std::optional<int> listeningPort(AdbBridge& bridge, const std::string& serial,
                                 const StopToken* stop) {
  std::string said = firstLine(bridge.shell(serial, "getprop service.adb.tcp.port", kStep, stop));
  if (said.empty() || said.find_first_not_of("0123456789") != std::string::npos || said.size() > 5)
    return std::nullopt;
  int port = std::stoi(said);
  if (port < 1 || port > 65535) return std::nullopt;
  return port;
}

// Puts `tablet` in place of any remembered entry of the same tablet, or takes the
// earlier entry back when `tablet` is none.
void remember(const std::string& serial, const std::optional<RememberedTablet>& tablet) {
  ConfigStore::update([&](LumivaleConfig& config) {
    std::erase_if(config.wifiTablets,
                  [&](const RememberedTablet& known) { return known.serial == serial; });
    if (tablet) config.wifiTablets.push_back(*tablet);
  });
}

}  // namespace

TabletCheck freshCheck() {
  return {randomHex(16), randomHex(32)};
}

RememberedTablet overCable(AdbBridge& bridge, const std::string& cableSerial,
                           const LumivaleConfig& config, const StopToken* stop) {
  if (!config.userId)
    throw AdbError(
        "Sign in first (lumivale account signin), so that this Mac remembers your Lumivale "
        "for your account.");
  if (!config.wifiAllowUnencrypted)
    throw AdbError(
        "Wi-Fi set up over the cable is not encrypted, and this Mac allows only encrypted "
        "Wi-Fi. Pair with a code instead (lumivale wifi pair HOST:PORT CODE), or allow it with "
        "lumivale config set wifiAllowUnencrypted true.");
  auto address = AdbParse::ipAddress(bridge.shell(cableSerial, "ip route", kStep, stop));
  if (!address)
    throw AdbError(
        "Your Lumivale is not on Wi-Fi. Connect it to the same network as this Mac, then try "
        "again.");

  auto port = listeningPort(bridge, cableSerial, stop);
  const bool turnedOn = !port;
  if (turnedOn) {
    bridge.tcpip(cableSerial, defaultPort, stop);
    // adbd restarts to listen on the network; the cable comes back by itself.
    bridge.runText(cableSerial, {"wait-for-device"}, kBackOnCable, stop);
    port = listeningPort(bridge, cableSerial, stop).value_or(defaultPort);
  }
  std::string model = firstLine(bridge.shell(cableSerial, "getprop ro.product.model", kStep, stop));

  std::optional<RememberedTablet> earlier;
  for (const auto& known : config.wifiTablets)
    if (known.serial == cableSerial) earlier = known;
  TabletCheck check = freshCheck();
  RememberedTablet tablet;
  tablet.serial = cableSerial;
  tablet.model = model.empty() ? "LV-1" : model;
  tablet.name = earlier ? earlier->name : tablet.model;
  tablet.lastIP = *address;
  tablet.lastPort = *port;
  tablet.pairedAt = utcNow();
  tablet.accountUserId = config.userId;
  tablet.transport = "tcp";
  tablet.checkId = check.id;
  tablet.checkToken = check.token;
  tablet.checkPending = true;
  tablet.turnedOnWirelessDebugging =
      turnedOn || (earlier && earlier->turnedOnWirelessDebugging.value_or(false));

  // Remembered, as pending, before the tablet is told; a failure takes the earlier entry
  // back, and a check it left on the tablet then matches nothing remembered.
  remember(cableSerial, tablet);
  const std::string wifiSerial = fmt::format("{}:{}", *address, *port);
  try {
    bridge.leaveCheck(cableSerial, check, stop);
    bridge.connect(wifiSerial, stop);
    if (bridge.readCheck(wifiSerial, stop) != check) {
      bridge.disconnect(wifiSerial, stop);
      throw AdbError(fmt::format(
          "The Lumivale at {} did not show the check this Mac left over the cable, so it is "
          "not used. Make sure the tablet on the cable is the one on this Wi-Fi, then run "
          "lumivale wifi setup again.",
          wifiSerial));
    }
  } catch (...) {
    remember(cableSerial, earlier);
    throw;
  }
  tablet.checkPending.reset();
  remember(cableSerial, tablet);
  return tablet;
}

}  // namespace lumivale::WifiSetup
