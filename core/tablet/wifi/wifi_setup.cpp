#include "core/tablet/wifi/wifi_setup.h"

#include <chrono>
#include <random>

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_parse.h"
#include "core/tablet/wifi/wifi_transport.h"
#include "core/utc_now.h"

namespace lumivale::WifiSetup {
namespace {

constexpr Seconds kStep{10};
constexpr Seconds kBackOnCable{30};
constexpr Seconds kPairTimeout{30};

std::string randomHex(size_t length) {
  static constexpr char digits[] = "0123456789abcdef";
  std::random_device random;
  std::string text;
  for (size_t i = 0; i < length; ++i)
    text += digits[random() % 16];
  return text;
}

void report(Observer<Step>* progress, Step step) {
  if (progress) progress->notify(step);
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

void requireAccount(const LumivaleConfig& config) {
  if (!config.userId)
    throw AdbError(
        "Sign in first (lumivale account signin), so that this Mac remembers your Lumivale "
        "for your account.");
}

// The tablet as it will be remembered, with a fresh check, still pending.
RememberedTablet entryFor(const std::string& serial, const std::string& model,
                          const std::string& address, int port, const LumivaleConfig& config,
                          const std::optional<RememberedTablet>& earlier) {
  TabletCheck check = freshCheck();
  RememberedTablet tablet;
  tablet.serial = serial;
  tablet.model = model.empty() ? "LV-1" : model;
  tablet.name = earlier ? earlier->name : tablet.model;
  tablet.lastIP = address;
  tablet.lastPort = port;
  tablet.pairedAt = utcNow();
  tablet.accountUserId = config.userId;
  tablet.checkId = check.id;
  tablet.checkToken = check.token;
  tablet.checkPending = true;
  return tablet;
}

std::optional<RememberedTablet> rememberedAs(const LumivaleConfig& config,
                                             const std::string& serial) {
  for (const auto& known : config.wifiTablets)
    if (known.serial == serial) return known;
  return std::nullopt;
}

// Remembers `tablet`, as pending, before the tablet is told; leaves its check over
// `leaveOver`, connects over Wi-Fi and reads the check back there, and only then takes
// the check as no longer pending. A failure takes the earlier entry back (a check left
// on the tablet then matches nothing remembered).
RememberedTablet checkIn(AdbBridge& bridge, RememberedTablet tablet, const std::string& leaveOver,
                         const std::optional<RememberedTablet>& earlier, const StopToken* stop,
                         Observer<Step>* progress) {
  const TabletCheck check{*tablet.checkId, *tablet.checkToken};
  const std::string wifiSerial = fmt::format("{}:{}", tablet.lastIP, tablet.lastPort);
  remember(tablet.serial, tablet);
  try {
    report(progress, Step::leavingCheck);
    bridge.leaveCheck(leaveOver, check, stop);
    report(progress, Step::connecting);
    bridge.connect(wifiSerial, stop);
    report(progress, Step::checking);
    if (bridge.readCheck(wifiSerial, stop) != check) {
      bridge.disconnect(wifiSerial, stop);
      throw AdbError(fmt::format(
          "The Lumivale at {} did not show the check this Mac left on it, so it is not used. "
          "Set up Wi-Fi for it again (lumivale wifi setup or lumivale wifi pair).",
          wifiSerial));
    }
  } catch (...) {
    remember(tablet.serial, earlier);
    throw;
  }
  tablet.checkPending.reset();
  remember(tablet.serial, tablet);
  return tablet;
}

}  // namespace

TabletCheck freshCheck() {
  return {randomHex(16), randomHex(32)};
}

std::string stepText(Step step) {
  switch (step) {
    case Step::findingAddress:
      return "Finding your Lumivale’s address on Wi-Fi…";
    case Step::turningOnNetworkDebugging:
      return "Turning on network debugging…";
    case Step::leavingCheck:
      return "Leaving a check on your Lumivale…";
    case Step::connecting:
      return "Connecting over Wi-Fi…";
    case Step::checking:
      return "Reading the check back over Wi-Fi…";
  }
  return {};
}

RememberedTablet overCable(AdbBridge& bridge, const std::string& cableSerial,
                           const LumivaleConfig& config, const StopToken* stop,
                           Observer<Step>* progress) {
  requireAccount(config);
  if (!config.wifiAllowUnencrypted)
    throw AdbError(
        "Wi-Fi set up over the cable is not encrypted, and this Mac allows only encrypted "
        "Wi-Fi. Pair with a code instead (lumivale wifi pair HOST:PORT CODE), or allow it with "
        "lumivale config set wifiAllowUnencrypted true.");
  report(progress, Step::findingAddress);
  auto address = AdbParse::ipAddress(bridge.shell(cableSerial, "ip route", kStep, stop));
  if (!address)
    throw AdbError(
        "Your Lumivale is not on Wi-Fi. Connect it to the same network as this Mac, then try "
        "again.");

  auto port = listeningPort(bridge, cableSerial, stop);
  const bool turnedOn = !port;
  if (turnedOn) {
    report(progress, Step::turningOnNetworkDebugging);
    bridge.tcpip(cableSerial, defaultPort, stop);
    // adbd restarts to listen on the network; the cable comes back by itself.
    bridge.runText(cableSerial, {"wait-for-device"}, kBackOnCable, stop);
    port = listeningPort(bridge, cableSerial, stop).value_or(defaultPort);
  }
  std::string model = firstLine(bridge.shell(cableSerial, "getprop ro.product.model", kStep, stop));
  auto earlier = rememberedAs(config, cableSerial);
  RememberedTablet tablet = entryFor(cableSerial, model, *address, *port, config, earlier);
  tablet.transport = WifiTransport::overCable;
  tablet.turnedOnWirelessDebugging =
      turnedOn || (earlier && earlier->turnedOnWirelessDebugging.value_or(false));
  return checkIn(bridge, tablet, cableSerial, earlier, stop, progress);
}

RememberedTablet withCode(AdbBridge& bridge, const std::string& hostPort, const std::string& code,
                          const LumivaleConfig& config, const StopToken* stop) {
  requireAccount(config);
  try {
    bridge.pair(hostPort, code, kPairTimeout, stop);
  } catch (const AdbError& error) {
    if (error.message().find("unknown command pair") == std::string::npos) throw;
    throw AdbError(fmt::format(
        "The adb in use ({}) cannot pair with a code. Get Google’s own with lumivale tools "
        "install --agree-to-google-terms, then pair again; or set up Wi-Fi over the cable with "
        "lumivale wifi setup.",
        bridge.adbPath().string()));
  }
  // Paired: the tablet advertises where it takes connections.
  const std::string host = hostPort.substr(0, hostPort.rfind(':'));
  std::optional<MdnsService> service;
  for (const auto& found : bridge.mdnsServices(stop))
    if (found.host == host && found.type.find("_adb-tls-connect") != std::string::npos)
      service = found;
  if (!service)
    throw AdbError(fmt::format(
        "Paired with {}, but it does not say where to connect. Keep Wireless debugging open on "
        "your Lumivale, then run lumivale wifi pair again.",
        host));
  const std::string wifiSerial = bridge.connect(fmt::format("{}:{}", host, service->port), stop);
  std::string serial = firstLine(bridge.shell(wifiSerial, "getprop ro.serialno", kStep, stop));
  std::string model = firstLine(bridge.shell(wifiSerial, "getprop ro.product.model", kStep, stop));
  if (serial.empty()) serial = service->instance;
  auto earlier = rememberedAs(config, serial);
  RememberedTablet tablet = entryFor(serial, model, host, service->port, config, earlier);
  tablet.transport = WifiTransport::paired;
  tablet.mdnsName = service->instance;
  tablet.turnedOnWirelessDebugging = earlier && earlier->turnedOnWirelessDebugging.value_or(false);
  return checkIn(bridge, tablet, wifiSerial, earlier, stop, nullptr);
}

}  // namespace lumivale::WifiSetup
