#include "core/tablet/adb_parse.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/tablet/testing/android_outputs.h"

namespace lumivale {
namespace {

using testing::androidOutput;

std::vector<std::string> serialsOf(std::string_view output) {
  std::vector<std::string> serials;
  for (const auto& parsed : AdbParse::devices(output))
    serials.push_back(parsed.device.serial);
  return serials;
}

TEST(AdbParseDevicesTest, SkipsTheHeaderAndTheServersNotices) {
  EXPECT_TRUE(AdbParse::devices("List of devices attached\n\n").empty());
  EXPECT_EQ(serialsOf(androidOutput("adb-devices-daemon-start-then-usb-device.txt")),
            std::vector<std::string>{"ce0817182be9566f0b"});
  // Old servers printed their notices after the header.
  auto old = AdbParse::devices(androidOutput("adb-devices-l-daemon-start-old-format.txt"));
  ASSERT_EQ(old.size(), 1u);
  EXPECT_EQ(old[0].device.model, "Android_SDK_built_for_x86");
  EXPECT_EQ(serialsOf(androidOutput("adb-devices-server-version-mismatch-two-usb.txt")),
            (std::vector<std::string>{"75aed56d", "U8ENW18117021408"}));
}

TEST(AdbParseDevicesTest, ReadsUsbLinesWithTheirPieces) {
  auto parsed = AdbParse::devices(androidOutput("adb-devices-l-fire-hd10-tablet-usb.txt"));
  ASSERT_EQ(parsed.size(), 1u);
  EXPECT_EQ(parsed[0].device, (AdbDevice{"G8S1KT061474031B", "device", "KFTRWI", "usb"}));
  EXPECT_EQ(parsed[0].raw,
            "G8S1KT061474031B       device usb:3-4 product:trona model:KFTRWI device:trona "
            "transport_id:2");
  EXPECT_EQ(AdbParse::transportId(parsed[0].raw), "2");
  // A line that carries none (an adb older than 1.0.40), or an empty one.
  EXPECT_EQ(AdbParse::transportId("emulator-5554 device product:sdk model:x"), std::nullopt);
  EXPECT_EQ(AdbParse::transportId("x device transport_id:"), std::nullopt);

  auto multi =
      AdbParse::devices(androidOutput("adb-devices-l-wahoo-elemnt-unauthorized-then-usb.txt"));
  ASSERT_EQ(multi.size(), 2u);
  EXPECT_EQ(multi[0].device, (AdbDevice{"43212600473", "unauthorized", std::nullopt, "usb"}));
  EXPECT_EQ(multi[1].device.model, "ELEMNT_BOLT");

  // A macOS location id and a leading blank before the serial.
  EXPECT_EQ(AdbParse::devices(androidOutput("adb-devices-l-macos-usb-locationid-huawei.txt"))[0]
                .device.transport,
            "usb");
  EXPECT_EQ(serialsOf(androidOutput("adb-devices-l-rk3288-tablet-leading-space-serial.txt")),
            std::vector<std::string>{"GS101200400611"});
}

TEST(AdbParseDevicesTest, TellsWifiConnectionsByTheirSerial) {
  auto both = AdbParse::devices(androidOutput("adb-devices-l-galaxy-s23u-usb-and-tcp-proxy.txt"));
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(both[0].device.transport, "usb");
  EXPECT_EQ(both[1].device, (AdbDevice{"127.0.0.1:34381", "device", std::nullopt, "tcp"}));

  auto mdns = AdbParse::devices(androidOutput("adb-devices-mdns-and-emulator-crlf.txt"));
  ASSERT_EQ(mdns.size(), 2u);
  EXPECT_EQ(mdns[0].device, (AdbDevice{"adb-33311HFDD8N2PQ-a4QqY3._adb-tls-connect._tcp", "device",
                                       std::nullopt, "tcp"}));
  EXPECT_EQ(mdns[1].device, (AdbDevice{"emulator-5554", "device", std::nullopt, std::nullopt}));
  EXPECT_EQ(mdns[1].raw.back(), 'e') << "no carriage return is kept";

  // A renamed mDNS instance holds a blank inside its serial.
  EXPECT_EQ(serialsOf(androidOutput("adb-devices-mdns-duplicate-instance-and-tcp-android15.txt")),
            (std::vector<std::string>{"192.168.0.104:40559",
                                      "adb-2233fd19-9mU6UL (2)._adb-tls-connect._tcp"}));
  EXPECT_EQ(AdbParse::devices(androidOutput("adb-devices-offline-tcp.txt"))[0].device.state,
            "offline");
}

TEST(AdbParseDevicesTest, KeepsOddEndingsAndDropsLinesWithoutAState) {
  // No final newline, and a state-only listing without -l.
  EXPECT_EQ(serialsOf("List of devices attached\ncf264b8f\toffline"),
            std::vector<std::string>{"cf264b8f"});
  EXPECT_EQ(serialsOf(androidOutput("adb-devices-l-xiaomi-usb-0-1.5.txt")),
            std::vector<std::string>{"n311r05e"});
  EXPECT_TRUE(AdbParse::devices("List of devices attached\nlonely-serial\n").empty());
  EXPECT_TRUE(AdbParse::devices("model:LV_1 device\n").empty());
}

TEST(AdbParseDevicesTest, ReadsEveryListingOfARepeatedTranscript) {
  auto runs = AdbParse::devices(
      androidOutput("adb-devices-l-huawei-daemon-unauthorized-tcp-usb-4-runs.txt"));
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[0].device.state, "unauthorized");
  EXPECT_EQ(runs[1].device.transport, "tcp");
  EXPECT_EQ(runs[2].device.model, "NOP_AN00");
}

TEST(AdbParseSerialTest, TellsSerialsFromPiecesAndTcpFromCable) {
  EXPECT_TRUE(AdbParse::isDeviceSerial("emulator-5554"));
  for (auto piece : {"", "product:x", "model:LV_1", "device:tolva", "usb:1-1"})
    EXPECT_FALSE(AdbParse::isDeviceSerial(piece)) << piece;

  EXPECT_TRUE(AdbParse::isTcpSerial("192.168.1.4:5555"));
  EXPECT_TRUE(AdbParse::isTcpSerial("[::1]:40001"));
  EXPECT_TRUE(AdbParse::isTcpSerial("adb-X-y._adb-tls-connect._tcp"));
  EXPECT_FALSE(AdbParse::isTcpSerial("emulator-5554"));
  EXPECT_FALSE(AdbParse::isTcpSerial("host:99999"));
  EXPECT_FALSE(AdbParse::isTcpSerial("host:"));
  EXPECT_FALSE(AdbParse::isTcpSerial(":5555"));
}

TEST(AdbParseSerialTest, AnyOneOfTheThreePiecesMakesAnLv1) {
  EXPECT_TRUE(AdbParse::isLumivaleLine("a device model:LV_1"));
  EXPECT_TRUE(AdbParse::isLumivaleLine("a device product:vext_tolva"));
  EXPECT_TRUE(AdbParse::isLumivaleLine("a device usb:1-1 device:tolva transport_id:3"));
  EXPECT_FALSE(AdbParse::isLumivaleLine("a device model:LV_10 device:tolvax"));
  EXPECT_FALSE(AdbParse::isLumivaleLine(androidOutput("adb-devices-l-fire-hd10-tablet-usb.txt")));
}

TEST(AdbParseFactsTest, Battery) {
  EXPECT_EQ(AdbParse::battery(androidOutput("dumpsys-battery-android15-honor-unplugged.txt")),
            (AdbParse::Battery{54, false}));
  EXPECT_EQ(AdbParse::battery(androidOutput("dumpsys-battery-samsung-usb-full-vendor-lines.txt")),
            (AdbParse::Battery{100, true}));
  // "Capacity level:" is not the level.
  EXPECT_EQ(
      AdbParse::battery(androidOutput("dumpsys-battery-clusterfuzz-2024-ac-capacity-level.txt")),
      (AdbParse::Battery{80, true}));
  EXPECT_EQ(AdbParse::battery(""), (AdbParse::Battery{}));
}

TEST(AdbParseFactsTest, DataPartitionSpace) {
  EXPECT_EQ(AdbParse::df(androidOutput("df-android13-mtk8168-tablet-bugreport.txt")),
            (AdbParse::DiskSpace{54563696LL * 1024, 54005076LL * 1024}));
  // /data_mirror and /data/... are other mounts.
  EXPECT_EQ(AdbParse::df(androidOutput("df-android13-galaxy-tab-a8-root.txt")),
            (AdbParse::DiskSpace{4192256LL * 1024, 1414280LL * 1024}));
  EXPECT_EQ(AdbParse::df("Filesystem 1K-blocks Used Available Use% Mounted on\n"), std::nullopt);
  // 2^53 blocks of 1 KiB are 2^63 bytes: one more than a signed 64-bit count holds.
  EXPECT_EQ(AdbParse::df("/dev/a 9007199254740991 0 9007199254740991 0% /data\n"),
            (AdbParse::DiskSpace{9223372036854774784, 9223372036854774784}));
  EXPECT_EQ(AdbParse::df("/dev/a 9007199254740992 0 1 0% /data\n"), std::nullopt);
}

TEST(AdbParseFactsTest, AddressOfTheWifiRoute) {
  EXPECT_EQ(AdbParse::ipAddress(androidOutput("ip-route-android13-lineage20-galaxy-a51-wlan0.txt")),
            "192.168.10.121");
  EXPECT_EQ(AdbParse::ipAddress(androidOutput("ip-route-rmnet-and-wlan0-trailing-space-2018.txt")),
            "192.168.1.14");
  EXPECT_EQ(AdbParse::ipAddress(androidOutput("ip-route-show-table-all-android15-samsung.txt")),
            "192.168.1.107");
  EXPECT_EQ(AdbParse::ipAddress(androidOutput("ip-route-hotspot-swlan0.txt")), std::nullopt);
}

TEST(AdbParseFactsTest, NetworkName) {
  EXPECT_EQ(AdbParse::wifiSsidFromStatus(
                androidOutput("cmd-wifi-status-android13-lineage20-galaxy-a51-connected.txt")),
            "XLVII");
  EXPECT_EQ(AdbParse::wifiSsidFromStatus(
                androidOutput("cmd-wifi-status-zukgit-android15plus-not-connected-EDITED.txt")),
            std::nullopt);
  EXPECT_EQ(AdbParse::wifiSsidFromDumpsys(androidOutput(
                "dumpsys-wifi-android13-mtk8168-tablet-mwifiinfo-unknown-ssid-excerpt.txt")),
            std::nullopt);
  EXPECT_EQ(AdbParse::wifiSsidFromDumpsys("mWifiInfo SSID: \"<unknown ssid>\", BSSID: x"),
            std::nullopt);
  EXPECT_TRUE(AdbParse::wifiSsidFromDumpsys(
      androidOutput("dumpsys-wifi-android14-xiaomi-pad6-tablet-connected-mwifiinfo-excerpt.txt")));
}

TEST(AdbParseFactsTest, Channel) {
  EXPECT_EQ(AdbParse::channel("LV1 2.4 Beta 3"), "beta");
  EXPECT_EQ(AdbParse::channel("lv1-alpha-7"), "alpha");
  EXPECT_EQ(AdbParse::channel("INTERNAL build"), "internal");
  EXPECT_EQ(AdbParse::channel("2.4.1"), "unknown");
}

TEST(AdbParseScreenTest, WakefulnessAndKeyguard) {
  EXPECT_EQ(AdbParse::wakefulness(
                androidOutput("dumpsys-power-android13-mtk8168-tablet-asleep-full.txt")),
            "Asleep");
  EXPECT_EQ(
      AdbParse::wakefulness(androidOutput("dumpsys-power-xiaomi-hyperos-dozing-head-excerpt.txt")),
      "Dozing");
  EXPECT_EQ(AdbParse::wakefulness("mWakefulnessChanging=false\n"), std::nullopt);

  EXPECT_EQ(AdbParse::keyguardShowing(
                androidOutput("dumpsys-window-policy-android13-mtk8168-tablet-locked-asleep.txt")),
            true);
  EXPECT_EQ(AdbParse::keyguardShowing(androidOutput(
                "dumpsys-activity-activities-displaypolicy-rotation-android14-aosp-launcher3-awake-"
                "unlocked-excerpt.txt")),
            false);
  EXPECT_EQ(AdbParse::keyguardShowing("nothing here"), std::nullopt);
}

TEST(AdbParseScreenTest, FrameFollowsTheRotation) {
  const std::string prefix =
      "dumpsys-window-grep-display-lines-android12-emui14-huawei-matepad-pro-";
  auto wm = androidOutput("wm-size-override-android12-emui14-huawei-matepad-pro-tablet.txt");
  EXPECT_EQ(AdbParse::screenFrame(wm, androidOutput(prefix + "tablet-landscape-rotation90.txt")),
            (ScreenFrame{2560, 1600, 1}));
  EXPECT_EQ(AdbParse::screenFrame(wm, androidOutput(prefix + "tablet-portrait-rotation0.txt")),
            (ScreenFrame{1600, 2560, 0}));
  // Without the display's own size, the override size is turned by the rotation.
  EXPECT_EQ(AdbParse::screenFrame(wm, "mRotation=ROTATION_90"), (ScreenFrame{2560, 1600, 1}));
  EXPECT_EQ(AdbParse::screenFrame(androidOutput("wm-size-and-density-override-density-android13-"
                                                "lineage20-galaxy-a51.txt"),
                                  ""),
            (ScreenFrame{1080, 2400, 0}));
  EXPECT_EQ(AdbParse::screenFrame("", ""), std::nullopt);
}

TEST(AdbParseMiscTest, MdnsFocusAndSections) {
  auto services = AdbParse::mdnsServices(
      "List of discovered mdns services\n"
      "adb-1558369949000TE-dPaZrc\t_adb-tls-connect._tcp.\t192.168.50.217:39607\n"
      "adb-1558369949000TE-dPaZrc\t_adb-tls-pairing._tcp.\t192.168.50.217:39729\n");
  ASSERT_EQ(services.size(), 2u);
  EXPECT_EQ(services[1], (MdnsService{"adb-1558369949000TE-dPaZrc", "_adb-tls-pairing._tcp.",
                                      "192.168.50.217", 39729}));

  EXPECT_EQ(
      AdbParse::focusedActivity(androidOutput(
          "dumpsys-window-grep-mCurrentFocus-android12-emui14-huawei-matepad-pro-tablet.txt")),
      "com.takahashirinta.ncrust/com.takahashirinta.ncrust.MainActivity");

  std::string joined = "@@one\nfirst\r\n@@two\nsecond\nmore";
  EXPECT_EQ(AdbParse::section(joined, "one"), "first\n");
  EXPECT_EQ(AdbParse::section(joined, "two"), "second\nmore\n");
  EXPECT_EQ(AdbParse::section(joined, "three"), std::nullopt);
}

}  // namespace
}  // namespace lumivale
