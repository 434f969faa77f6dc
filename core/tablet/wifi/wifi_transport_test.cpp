#include "core/tablet/wifi/wifi_transport.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

RememberedTablet rememberedAs(const std::string& serial, const std::string& transport) {
  RememberedTablet tablet;
  tablet.serial = serial;
  tablet.transport = transport;
  return tablet;
}

TEST(WifiTransport, OnlyAPairedTabletsWifiIsEncrypted) {
  const std::vector<RememberedTablet> remembered{rememberedAs("LV1A", WifiTransport::overCable),
                                                 rememberedAs("LV1B", WifiTransport::paired)};
  EXPECT_FALSE(WifiTransport::unencrypted("LV1A", "LV1A", remembered)) << "the cable";
  EXPECT_TRUE(WifiTransport::unencrypted("192.168.1.47:5555", "LV1A", remembered));
  EXPECT_FALSE(WifiTransport::unencrypted("192.168.1.48:37011", "LV1B", remembered));
  EXPECT_FALSE(WifiTransport::unencrypted("adb-LV1C-x1._adb-tls-connect._tcp", "LV1C", remembered));
  EXPECT_TRUE(WifiTransport::unencrypted("192.168.1.49:5555", "LV1C", remembered))
      << "a tablet not remembered is taken as unencrypted";
}

}  // namespace
}  // namespace lumivale
