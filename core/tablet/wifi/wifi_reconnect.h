#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/stop_token.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale {

// What one round did for one remembered tablet.
struct ReconnectOutcome {
  enum class Result { alreadyConnected, connected, notFound, failedCheck };
  std::string serial;   // the remembered tablet
  std::string address;  // where it is, or was last looked for
  Result result = Result::notFound;
  std::string detail;  // what adb said, when it did not connect

  bool operator==(const ReconnectOutcome&) const = default;
};

namespace WifiReconnect {

// One round over the tablets remembered by the account signed in (or only `onlySerial`):
// each with no connection in use is dialled at its last address and, where adb sees it
// advertised over mDNS, at the port it advertises now. A connection that shows the
// tablet's check is kept, and the address it was found at remembered; one that does
// not is dropped again.
std::vector<ReconnectOutcome> round(AdbBridge& bridge,
                                    const std::optional<std::string>& onlySerial = std::nullopt,
                                    const StopToken* stop = nullptr);

// "SERIAL: connected again at 192.168.1.47:5555", as the reconnect loop prints it.
std::string describe(const ReconnectOutcome& outcome);

}  // namespace WifiReconnect
}  // namespace lumivale
