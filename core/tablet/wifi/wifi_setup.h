#pragma once

#include <optional>
#include <string>

#include "core/observer.h"
#include "core/settings/lumivale_config.h"
#include "core/stop_token.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::WifiSetup {

// The port asked for when the tablet's wireless debugging is not on yet.
inline constexpr int defaultPort = 5555;

// The steps of a set-up, reported as each begins.
enum class Step { findingAddress, turningOnNetworkDebugging, leavingCheck, connecting, checking };

// "Connecting over Wi-Fi…", as a set-up's progress shows it.
std::string stepText(Step step);

// A secret check made fresh for one set-up: letters and digits only.
TabletCheck freshCheck();

// Sets up Wi-Fi for the tablet on the cable `cableSerial`: turns network debugging on
// (`adb tcpip`) unless it already is, finds the tablet's address in its route table,
// remembers it for the account signed in with a pending check, leaves the check over
// the cable, connects over Wi-Fi and reads the check back there. Only then is the
// check no longer pending. Fails with AdbError, a sentence saying what to do, and
// then leaves the remembered tablets as they were.
RememberedTablet overCable(AdbBridge& bridge, const std::string& cableSerial,
                           const LumivaleConfig& config, const StopToken* stop = nullptr,
                           Observer<Step>* progress = nullptr);

// Sets up Wi-Fi by pairing with the six-digit code the tablet shows (an encrypted
// connection): `adb pair`, then the connect port the tablet advertises over mDNS, and the
// check left and read back over that connection. An adb that cannot pair is said so, with
// the way to Google's tools.
RememberedTablet withCode(AdbBridge& bridge, const std::string& hostPort, const std::string& code,
                          const LumivaleConfig& config, const StopToken* stop = nullptr);

}  // namespace lumivale::WifiSetup
