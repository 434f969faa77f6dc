#pragma once

#include <string>
#include <vector>

#include "core/settings/lumivale_config.h"

namespace lumivale::WifiTransport {

// How a tablet set up for Wi-Fi is reached, as remembered: set up over the cable
// (`adb tcpip`, then a plain `adb connect`, not encrypted), or paired with a code
// (adb's own TLS).
inline constexpr const char* overCable = "tcp";
inline constexpr const char* paired = "tls";

// Whether work addressed to `connectionSerial`, a connection of the tablet `tabletSerial`,
// would cross Wi-Fi unencrypted: any Wi-Fi connection but a paired one.
bool unencrypted(const std::string& connectionSerial, const std::string& tabletSerial,
                 const std::vector<RememberedTablet>& remembered);

}  // namespace lumivale::WifiTransport
