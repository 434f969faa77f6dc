#include "core/tablet/wifi/wifi_transport.h"

#include <algorithm>

namespace lumivale::WifiTransport {

bool unencrypted(const std::string& connectionSerial, const std::string& tabletSerial,
                 const std::vector<RememberedTablet>& remembered) {
  // The cable: the connection is the tablet itself.
  if (connectionSerial == tabletSerial) return false;
  // A connection adb found as a paired tablet's service is TLS by its very name.
  if (connectionSerial.find("._adb-tls-connect._tcp") != std::string::npos) return false;
  return std::none_of(remembered.begin(), remembered.end(), [&](const RememberedTablet& tablet) {
    return tablet.serial == tabletSerial && tablet.transport == paired;
  });
}

}  // namespace lumivale::WifiTransport
