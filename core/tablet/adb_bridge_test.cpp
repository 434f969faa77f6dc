#include "core/tablet/adb_bridge.h"

#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "core/tablet/adb_bridge_cache.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/testing/android_outputs.h"
#include "core/tablet/testing/fake_adb_tool.h"

namespace lumivale {
namespace {

using testing::androidOutput;

class AdbBridgeTest : public ::testing::Test {
 protected:
  testing::FakeAdbTool adb;
  AdbBridge bridge{adb.path(), {{"PATH", "/usr/bin:/bin"}}};

  // The tablet tool prints a captured output.
  void tabletPrints(const std::string& tool, const std::string& capture) {
    adb.tabletTool(tool, "cat '" + std::string(LUMIVALE_ANDROID_OUTPUTS) + "/" + capture + "'\n");
  }

  template <typename Call>
  std::string failureOf(Call call) {
    try {
      call();
    } catch (const AdbError& error) {
      return error.message();
    }
    return "(no failure)";
  }
};

TEST_F(AdbBridgeTest, EveryRunNamesItsSerialAndSwitchesOffMdnsAutoConnect) {
  adb.tabletTool("getprop", "echo LV-1\n");
  EXPECT_EQ(bridge.shell("SER1", "getprop ro.product.model", Seconds(10)), "LV-1\n");
  EXPECT_EQ(adb.log(),
            "0|-s SER1 shell getprop ro.product.model; printf '\\nLUMIVALE-EXIT:%d\\n' $?\n");
}

TEST_F(AdbBridgeTest, ShellFailuresCarryTheRemoteStatusOrItsAbsence) {
  adb.tabletTool("settings", "echo 'no such namespace' ; exit 3\n");
  EXPECT_EQ(failureOf([&] { bridge.shell("S", "settings get bogus key", Seconds(10)); }),
            "'settings get bogus key' failed on S with status 3: no such namespace");
  // A connection that drops mid-command leaves no exit marker.
  adb.tabletTool("dumpsys", "echo half; kill -9 $PPID\n");
  EXPECT_EQ(failureOf([&] { bridge.shell("S", "dumpsys power", Seconds(10)); }),
            "the tablet did not say how 'dumpsys power' ended");
  adb.answer("start-server", "", 1, "cannot bind 'tcp:5037': Address already in use\n");
  EXPECT_EQ(failureOf([&] { bridge.ensureServer(); }),
            "adb start-server exited 1: cannot bind 'tcp:5037': Address already in use");
  EXPECT_FALSE(bridge.serverStarted());
}

TEST_F(AdbBridgeTest, ShellFailuresShowNeitherTypedTextNorTheCheck) {
  adb.tabletTool("input", "exit 1\n");
  EXPECT_EQ(failureOf([&] { bridge.typeText("S", "my password"); }),
            "'input text [text]' failed on S with status 1");
  adb.tabletTool("input", "kill -9 $PPID\n");
  EXPECT_EQ(failureOf([&] { bridge.typeText("S", "my password"); }),
            "the tablet did not say how 'input text [text]' ended");
  // This machine has no /data/local/tmp, so leaving the check fails.
  std::string check = failureOf([&] { bridge.leaveCheck("S", {"c1", "s3cret"}); });
  EXPECT_TRUE(check.starts_with("'[check]' failed on S with status ")) << check;
  EXPECT_EQ(check.find("s3cret"), std::string::npos) << check;
}

TEST_F(AdbBridgeTest, TheServerIsStartedOnceHoweverManyAskAtOnce) {
  // An adb slow to start its server, so that the callers overlap.
  adb.tabletTool("slow-adb", "sleep 0.3\nexec \"$(dirname \"$0\")/../adb\" \"$@\"\n");
  AdbBridge slow{adb.folder() / "tablet" / "slow-adb", {{"PATH", "/usr/bin:/bin"}}};
  adb.answer("start-server", "", 1);
  EXPECT_THROW(slow.ensureServer(), AdbError);
  adb.answer("start-server", "");
  std::vector<std::thread> callers;
  for (int i = 0; i < 6; ++i)
    callers.emplace_back([&] { slow.ensureServer(); });
  for (auto& caller : callers)
    caller.join();
  EXPECT_TRUE(slow.serverStarted());
  EXPECT_EQ(adb.log(), "0|start-server\n0|start-server\n") << "the failed start, then one more";
}

TEST_F(AdbBridgeTest, ACallerWaitingForAServerStartCanBeCancelledMeanwhile) {
  adb.hang("start-server");
  StopToken starterStop;
  std::thread starter([&] { EXPECT_THROW(bridge.ensureServer(&starterStop), Cancelled); });
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (adb.log().find("start-server") == std::string::npos &&
         std::chrono::steady_clock::now() < giveUp)
    std::this_thread::yield();
  // Nothing is locked while the start runs, so a second caller is free to give up.
  StopToken waiterStop;
  std::thread waiter([&] { EXPECT_THROW(bridge.ensureServer(&waiterStop), Cancelled); });
  waiterStop.cancel();
  waiter.join();
  starterStop.cancel();
  starter.join();
  EXPECT_FALSE(bridge.serverStarted());
  EXPECT_EQ(adb.log(), "0|start-server\n") << "the waiter never started one of its own";
}

TEST_F(AdbBridgeTest, ARunForTheTabletPastItsDeadlineSaysItIsNotAnswering) {
  adb.hang("wait-for-device");
  EXPECT_EQ(failureOf([&] { bridge.runText("S", {"wait-for-device"}, Seconds(0.2)); }),
            "Your Lumivale is not answering. Wake it, or plug it in again.");
}

TEST_F(AdbBridgeTest, APinnedBridgeRefusesOtherSerials) {
  adb.tabletTool("true", "exit 0\n");
  bridge.pin(
      {"CABLE", {{"CABLE", "device", "LV_1", "usb"}, {"10.0.0.2:5555", "device", "LV_1", "tcp"}}});
  EXPECT_NO_THROW(bridge.shell("10.0.0.2:5555", "true", Seconds(10)));
  EXPECT_EQ(failureOf([&] { bridge.shell("OTHER", "true", Seconds(10)); }),
            "refusing unpinned adb: serial 'OTHER' is not the chosen tablet");
}

TEST_F(AdbBridgeTest, TextThatCannotBeTypedNeverReachesAdb) {
  adb.tabletTool("input", "echo \"$@\" >> \"$(dirname \"$0\")/typed\"\n");
  const std::string expected =
      "text cannot be typed over adb (240 printable ASCII characters at most)";
  EXPECT_EQ(failureOf([&] { bridge.typeText("S", std::string(241, 'a')); }), expected);
  EXPECT_EQ(failureOf([&] { bridge.typeText("S", ""); }), expected);
  EXPECT_EQ(failureOf([&] { bridge.typeText("S", "caf\xc3\xa9"); }), expected);
  EXPECT_EQ(adb.log(), "");
  bridge.typeText("S", std::string(239, 'a') + "'");
  EXPECT_NE(adb.log(), "");
  std::ifstream typed(adb.folder() / "tablet" / "typed");
  std::string line;
  std::getline(typed, line);
  EXPECT_EQ(line, "text " + std::string(239, 'a') + "'");
}

TEST_F(AdbBridgeTest, FactsComeFromOneShellOverCapturedOutputs) {
  adb.tabletTool(
      "getprop",
      "case $1 in ro.product.model) echo LV-1;; ro.build.fingerprint) echo fp;;\n"
      "ro.build.display.id) echo 'LV1 2.0 Beta';; ro.build.version.release) echo 13;; esac\n");
  tabletPrints("dumpsys", "dumpsys-battery-android13-mtk8168-tablet-usb-charging.txt");
  tabletPrints("df", "df-android13-mtk8168-tablet-bugreport.txt");
  tabletPrints("cmd", "cmd-wifi-status-android15-samsung-connected-wpa3.txt");
  tabletPrints("ip", "ip-route-android15-samsung-wlan0.txt");
  DeviceInfo info = bridge.deviceInfo("S");
  EXPECT_EQ(info.model, "LV-1");
  EXPECT_EQ(info.buildFingerprint, "fp");
  EXPECT_EQ(info.channel, "beta");
  EXPECT_EQ(info.androidRelease, "13");
  EXPECT_TRUE(info.batteryPercent.has_value());
  EXPECT_EQ(info.charging, true);
  EXPECT_EQ(info.dataTotalBytes, 54563696LL * 1024);
  EXPECT_TRUE(info.wifiSsid.has_value());
  EXPECT_EQ(info.ipAddress, "192.168.1.107");
  std::string log = adb.log();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << "one adb run for all facts";
  nlohmann::json json = info;
  for (const char* field :
       {"serial", "model", "buildFingerprint", "versionLabel", "channel", "androidRelease",
        "batteryPercent", "charging", "dataFreeBytes", "dataTotalBytes", "wifiSsid", "ipAddress"})
    EXPECT_TRUE(json.contains(field)) << field;
}

TEST_F(AdbBridgeTest, TheNetworkNameFallsBackToDumpsysWifiWithoutARouteToGoBy) {
  adb.tabletTool("cmd", "echo \"Can't find service: wifi\"; exit 1\n");
  adb.tabletTool("ip", "exit 0\n");
  auto dumpsysWifiPrints = [&](const std::string& capture) {
    adb.tabletTool("dumpsys", "[ \"$1\" = wifi ] && cat '" + std::string(LUMIVALE_ANDROID_OUTPUTS) +
                                  "/" + capture + "'; true\n");
  };
  dumpsysWifiPrints("dumpsys-wifi-android14-xiaomi-pad6-tablet-connected-mwifiinfo-excerpt.txt");
  DeviceInfo info = bridge.deviceInfo("S");
  EXPECT_EQ(info.wifiSsid, "ANGEL");
  EXPECT_EQ(info.ipAddress, std::nullopt);
  dumpsysWifiPrints("dumpsys-wifi-android13-mtk8168-tablet-mwifiinfo-unknown-ssid-excerpt.txt");
  EXPECT_EQ(bridge.deviceInfo("S").wifiSsid, std::nullopt);
}

TEST_F(AdbBridgeTest, WarmthLeavesTheShadeBitAlone) {
  adb.tabletTool("settings",
                 "dir=$(dirname \"$0\"); case $1 in get) cat \"$dir/rate\";; put) echo $4 > "
                 "\"$dir/rate\";; esac\n");
  std::ofstream(adb.folder() / "tablet" / "rate") << "300\n";
  EXPECT_EQ(bridge.getWarmth("S"), 44);
  bridge.setWarmth("S", 200);
  EXPECT_EQ(bridge.getWarmthAndShade("S").shade, true);
  EXPECT_EQ(bridge.getWarmth("S"), 200);
  EXPECT_EQ(failureOf([&] { bridge.setWarmth("S", 256); }), "expected a level 0-255");
}

TEST_F(AdbBridgeTest, ScreenChecksBeforeInput) {
  tabletPrints("dumpsys", "dumpsys-window-policy-android13-mtk8168-tablet-locked-asleep.txt");
  EXPECT_EQ(failureOf([&] { bridge.screenshot("S"); }),
            "keyguard is showing on S; unlock the tablet before taking a screenshot");

  adb.tabletTool("dumpsys", "echo 'isKeyguardShowing=false mWakefulness=Dozing'\n");
  adb.answer("exec-out", "not a picture");
  EXPECT_EQ(failureOf([&] { bridge.screenshot("S"); }),
            "screencap returned 13 bytes that are not a PNG");
  EXPECT_EQ(failureOf([&] { bridge.requireReadyForInput("S"); }),
            "S is Dozing, not awake; input would be dropped");
  adb.tabletTool("dumpsys", "echo nothing\n");
  EXPECT_EQ(failureOf([&] { bridge.requireReadyForInput("S"); }),
            "S is not reporting mWakefulness; input would be dropped");
}

TEST_F(AdbBridgeTest, TapsStayOnTheScreenAsPlanned) {
  adb.tabletTool("wm", "echo 'Physical size: 1600x2560'\n");
  adb.tabletTool("dumpsys", "echo \"  mRotation=$(cat \"$(dirname \"$0\")/rotation\")\"\n");
  adb.tabletTool("input", "exit 0\n");
  std::ofstream(adb.folder() / "tablet" / "rotation") << "ROTATION_0\n";
  EXPECT_EQ(failureOf([&] { bridge.tap("S", 1600, 10); }),
            "(1600, 10) is outside the screen (coordinates start at 0)");
  EXPECT_EQ(failureOf([&] { bridge.tap("S", -1, 10); }),
            "(-1, 10) is outside the screen (coordinates start at 0)");
  ScreenFrame planned = bridge.screenFrame("S", Seconds(60));
  EXPECT_NO_THROW(bridge.tap("S", 1599, 2559, planned));

  std::ofstream(adb.folder() / "tablet" / "rotation") << "ROTATION_90\n";
  // Cached within maxAge; a planned tap looks again.
  EXPECT_EQ(bridge.screenFrame("S", Seconds(60)), planned);
  EXPECT_EQ(failureOf([&] { bridge.tap("S", 10, 10, planned); }),
            "the tablet was turned (0 is now 1), so (10, 10) was not tapped; look at the screen "
            "again");
}

TEST_F(AdbBridgeTest, WakeGivesUpAfterTwoSeconds) {
  adb.tabletTool("input", "exit 0\n");
  adb.tabletTool("dumpsys", "echo mWakefulness=Asleep\n");
  const std::string late = "S did not report mWakefulness=Awake within 2 s of KEYCODE_WAKEUP";
  EXPECT_EQ(failureOf([&] { bridge.wake("S"); }), late);
  // A tablet that never answers gets only what is left of the two seconds.
  adb.tabletTool("dumpsys", "exec sleep 30\n");
  EXPECT_EQ(failureOf([&] { bridge.wake("S"); }), late);
}

TEST_F(AdbBridgeTest, PairingRefusesBadInputBeforeRunningAnything) {
  EXPECT_EQ(failureOf([&] { bridge.pair("10.0.0.2", "123456", Seconds(5)); }),
            "refusing adb pair: '10.0.0.2' is not host:port");
  EXPECT_EQ(failureOf([&] { bridge.pair("10.0.0.2:5555; rm", "123456", Seconds(5)); }),
            "refusing adb pair: '10.0.0.2:5555; rm' is not host:port");
  EXPECT_EQ(failureOf([&] { bridge.pair("10.0.0.2:37001", "12345", Seconds(5)); }),
            "refusing adb pair: the code is not six digits");
  EXPECT_EQ(failureOf([&] { bridge.pair("10.0.0.2:37001", "12345a", Seconds(5)); }),
            "refusing adb pair: the code is not six digits");
  EXPECT_EQ(adb.log(), "");
  adb.answer("pair", "Successfully paired to 10.0.0.2:37001 [guid=adb-X]\n");
  EXPECT_NO_THROW(bridge.pair("10.0.0.2:37001", "123456", Seconds(5)));
  adb.answer("connect", "failed to connect to '10.0.0.2:5555': Connection refused\n");
  EXPECT_EQ(failureOf([&] { bridge.connect("10.0.0.2:5555"); }),
            "adb connect 10.0.0.2:5555 failed: failed to connect to '10.0.0.2:5555': Connection "
            "refused");
}

TEST_F(AdbBridgeTest, StartActivityReportsWhatAmSaid) {
  adb.tabletTool("am", "echo 'Error: Activity not started, unable to resolve Intent'\n");
  EXPECT_EQ(failureOf([&] { bridge.openURL("S", "https://example.org/a b"); }),
            "am start failed: Error: Activity not started, unable to resolve Intent");
  EXPECT_NE(adb.log().find("am start -a android.intent.action.VIEW -d 'https://example.org/a b'"),
            std::string::npos);
}

TEST_F(AdbBridgeTest, AWifiSerialIsHandedOutOnlyAfterItsCheckIsReadBack) {
  RememberedTablet known{.serial = "CABLE",
                         .lastIP = "10.0.0.2",
                         .lastPort = 5555,
                         .checkId = "id1",
                         .checkToken = "tok1"};
  adb.tabletTool("cat", "/bin/cat \"$(dirname \"$0\")/check\" 2>/dev/null\n");
  EXPECT_EQ(bridge.checkedSerial("CABLE", {}), "CABLE");
  EXPECT_EQ(bridge.checkedSerial("10.0.0.2:5555", {known}), std::nullopt);
  std::ofstream(adb.folder() / "tablet" / "check") << "id1\ntok1\n";
  EXPECT_EQ(bridge.checkedSerial("10.0.0.2:5555", {known}), "10.0.0.2:5555");
  EXPECT_EQ(bridge.checkedSerial("10.0.0.9:5555", {known}), std::nullopt);
  known.checkPending = true;
  EXPECT_EQ(bridge.checkedSerial("10.0.0.2:5555", {known}), std::nullopt);
}

TEST(AdbBridgeCacheTest, ConcurrentCallersShareOneBuild) {
  std::atomic<int> builds = 0;
  AdbBridgeCache cache([&] {
    ++builds;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return std::make_shared<AdbBridge>("/nonexistent/adb", Environment{});
  });
  std::vector<std::thread> callers;
  std::vector<std::shared_ptr<AdbBridge>> got(4);
  for (int i = 0; i < 4; ++i)
    callers.emplace_back([&, i] { got[i] = cache.get(); });
  for (auto& caller : callers)
    caller.join();
  EXPECT_EQ(builds, 1);
  for (const auto& bridge : got)
    EXPECT_EQ(bridge, got[0]);
}

TEST(AdbBridgeCacheTest, AFailedBuildIsTriedAgain) {
  int builds = 0;
  AdbBridgeCache cache([&]() -> std::shared_ptr<AdbBridge> {
    if (++builds == 1) throw AdbError("no adb", true);
    return std::make_shared<AdbBridge>("/nonexistent/adb", Environment{});
  });
  EXPECT_THROW(cache.get(), AdbError);
  EXPECT_NE(cache.get(), nullptr);
  EXPECT_EQ(builds, 2);
}

}  // namespace
}  // namespace lumivale
