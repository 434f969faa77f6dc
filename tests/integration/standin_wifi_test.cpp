#include <gtest/gtest.h>

#include <fmt/format.h>

#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

std::string wifiSerial(uint16_t port) {
  return fmt::format("127.0.0.1:{}", port);
}

// The stand-in's Wi-Fi side, through the real adb: what `adb tcpip` opens, the sleep
// that takes it away, and a tablet still starting up.
class StandinWifi : public ::testing::Test {
 protected:
  ToolRun adb(const std::vector<std::string>& arguments) const {
    return tablet.adbServer()->adb(arguments);
  }
  ToolRun shellOver(const std::string& serial, const std::string& command) const {
    return adb({"-s", serial, "shell", command});
  }
  // adb connect, then wait until adb lists the connection as a device.
  void connectOverWifi(uint16_t port) const {
    ToolRun connected = adb({"connect", wifiSerial(port)});
    ASSERT_EQ(connected.status, 0) << connected.stderrData;
    ASSERT_NE(connected.stdoutData.find("connected to"), std::string::npos) << connected.stdoutData;
    ASSERT_EQ(adb({"-s", wifiSerial(port), "wait-for-device"}).status, 0);
  }

  StandinTablet tablet;
};

TEST_F(StandinWifi, TcpipOpensAWifiSideToTheSameTablet) {
  EXPECT_EQ(tablet.wifiPort(), std::nullopt);
  ToolRun switched = tablet.adb({"tcpip", "5555"});
  ASSERT_EQ(switched.status, 0) << switched.stderrData;
  EXPECT_EQ(switched.stdoutData, "restarting in TCP mode port: 5555\n");
  auto port = tablet.wifiPort();
  ASSERT_TRUE(port);
  // 5555 is an emulator's port to every adb server here, so another is used and told.
  EXPECT_NE(*port, 5555);
  EXPECT_EQ(tablet.shell("getprop service.adb.tcp.port").stdoutData, std::to_string(*port) + "\n");

  connectOverWifi(*port);
  EXPECT_EQ(shellOver(wifiSerial(*port), "getprop ro.serialno").stdoutData,
            tablet.shell("getprop ro.serialno").stdoutData);
  // Without the cable, the tablet still answers over Wi-Fi.
  tablet.disconnect();
  ToolRun overWifi =
      shellOver(wifiSerial(*port), "echo hello > /sdcard/hi.txt; cat /sdcard/hi.txt");
  EXPECT_EQ(overWifi.status, 0) << overWifi.stderrData;
  EXPECT_EQ(overWifi.stdoutData, "hello\n");
}

TEST_F(StandinWifi, SleepDropsTheWifiSideAndWakingMovesItToAnotherPort) {
  ASSERT_EQ(tablet.adb({"tcpip", "5555"}).status, 0);
  const uint16_t before = *tablet.wifiPort();
  connectOverWifi(before);

  tablet.setFault("sleep");
  EXPECT_EQ(tablet.wifiPort(), std::nullopt);
  EXPECT_NE(shellOver(wifiSerial(before), "true").status, 0);
  EXPECT_EQ(tablet.shell("echo cable").stdoutData, "cable\n");

  tablet.clearFault("sleep");
  auto after = tablet.wifiPort();
  ASSERT_TRUE(after);
  EXPECT_NE(*after, before);
  EXPECT_EQ(tablet.shell("getprop service.adb.tcp.port").stdoutData, std::to_string(*after) + "\n");
  connectOverWifi(*after);
  EXPECT_EQ(shellOver(wifiSerial(*after), "echo awake").stdoutData, "awake\n");
}

TEST_F(StandinWifi, ATabletStillStartingReportsBootNotCompleted) {
  tablet.setFault("booting=3600");
  EXPECT_EQ(tablet.shell("getprop sys.boot_completed").stdoutData, "0\n");
  EXPECT_NE(tablet.shell("getprop").stdoutData.find("[sys.boot_completed]: [0]"),
            std::string::npos);
  tablet.clearFault("booting");
  EXPECT_EQ(tablet.shell("getprop sys.boot_completed").stdoutData, "1\n");
  // A start-up already over by the time it is asked about.
  tablet.setFault("booting=0");
  EXPECT_EQ(tablet.shell("getprop sys.boot_completed").stdoutData, "1\n");
}

}  // namespace
}  // namespace lumivale::testing
