#pragma once

#include <optional>
#include <string>

#include "core/tablet/wifi/wifi_setup.h"

namespace lumivale::companion {

// Sets up Wi-Fi for the tablet in use (`pinnedSerial`, else the chosen one), which must
// be ready on the cable, with the settings as they are now; each step is reported to
// `progress` as it begins. Throws AdbError with the sentence to show.
RememberedTablet setUpWifiOverCable(AdbBridge& bridge,
                                    const std::optional<std::string>& pinnedSerial,
                                    const StopToken* stop = nullptr,
                                    Observer<WifiSetup::Step>* progress = nullptr);

// "Wi-Fi is set up for LV-1 at 192.168.1.47:5555.", said once a set-up is done.
std::string setUpSentence(const RememberedTablet& tablet);

}  // namespace lumivale::companion
