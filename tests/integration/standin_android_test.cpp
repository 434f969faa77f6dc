// The simulated Android commands of the stand-in, through the real adb.
#include <fstream>
#include <regex>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

class StandinAndroidTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet_ = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet_.reset(); }
  static StandinTablet& tablet() { return *tablet_; }

  // The standard output of a command that must succeed.
  static std::string output(const std::string& command) {
    ToolRun run = tablet().shell(command);
    EXPECT_EQ(run.status, 0) << command << ": " << run.stderrData;
    return run.stdoutData;
  }

 private:
  static inline std::unique_ptr<StandinTablet> tablet_;
};

TEST_F(StandinAndroidTest, GetpropDescribesAnLv1OnAndroid13) {
  const std::vector<std::pair<std::string, std::string>> expected{
      {"ro.product.model", "LV-1"},
      {"ro.product.name", "vext_tolva"},
      {"ro.product.device", "tolva"},
      {"ro.build.version.release", "13"},
      {"ro.build.fingerprint", "Vext/vext_tolva/tolva:13/TQ3A.230901.001/261:user/release-keys"},
      {"ro.build.display.id", "LV-1 2.6.1 beta"},
      {"no.such.property", ""},
      {"no.such.property fallback", "fallback"},
  };
  for (const auto& [arguments, value] : expected)
    EXPECT_EQ(output("getprop " + arguments), value + "\n") << arguments;

  std::istringstream lines(output("setprop ro.build.display.id 'LV-1 2.7.0 alpha'; getprop"));
  const std::regex shape(R"(\[[a-z0-9_.]+\]: \[.*\])");
  int count = 0;
  bool labelChanged = false;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_TRUE(std::regex_match(line, shape)) << line;
    labelChanged |= line == "[ro.build.display.id]: [LV-1 2.7.0 alpha]";
  }
  EXPECT_GT(count, 20);
  EXPECT_TRUE(labelChanged);
  output("rm /data/standin/props/ro.build.display.id");
}

TEST_F(StandinAndroidTest, SettingsAreKeptPerNamespaceAndSurviveARestart) {
  EXPECT_EQ(output("settings get system screen_brightness"), "102\n");
  EXPECT_EQ(output("settings get secure stylus_refresh_rate_boost"), "null\n");
  output("settings put system screen_brightness 180; settings put global warmth_test 'a b'");
  EXPECT_EQ(output("settings get system screen_brightness"), "180\n");
  EXPECT_EQ(output("settings get global warmth_test"), "a b\n");
  EXPECT_EQ(output("settings get secure warmth_test"), "null\n") << "namespaces are apart";

  tablet().restart();
  EXPECT_EQ(output("settings get system screen_brightness"), "180\n");
  EXPECT_EQ(output("settings delete global warmth_test"), "Deleted 1 rows\n");
  EXPECT_EQ(output("settings get global warmth_test"), "null\n");
  EXPECT_EQ(tablet().shell("settings get elsewhere key").status, 1);
}

TEST_F(StandinAndroidTest, NotificationCommandsChangeTheSettingsBehindThem) {
  output("cmd notification set_dnd on");
  EXPECT_EQ(output("settings get global zen_mode"), "2\n");
  output("cmd notification set_dnd off");
  EXPECT_EQ(output("settings get global zen_mode"), "0\n");

  output("cmd notification allow_listener com.vext.tolva.companion/.NotificationRelay");
  output("cmd notification allow_listener com.vext.tolva.reader/.ReadAloudListener");
  EXPECT_EQ(
      output("settings get secure enabled_notification_listeners"),
      "com.vext.tolva.companion/.NotificationRelay:com.vext.tolva.reader/.ReadAloudListener\n");
  output("cmd notification disallow_listener com.vext.tolva.companion/.NotificationRelay");
  output("cmd notification disallow_listener com.vext.tolva.reader/.ReadAloudListener");
  EXPECT_EQ(output("settings get secure enabled_notification_listeners"), "null\n");
}

TEST_F(StandinAndroidTest, PackageQueriesListAndChooseTheHomeApp) {
  const std::string home = "-a android.intent.action.MAIN -c android.intent.category.HOME";
  EXPECT_EQ(output("cmd package query-activities --brief " + home),
            "3 activities found:\n"
            "  Activity #0:\n"
            "    priority=0 preferredOrder=0 match=0x108000 specificIndex=-1 isDefault=true\n"
            "    com.vext.tolva.home/.HomeActivity\n"
            "  Activity #1:\n"
            "    priority=0 preferredOrder=0 match=0x108000 specificIndex=-1 isDefault=true\n"
            "    com.vext.tolva.kids/.KidsHome\n"
            "  Activity #2:\n"
            "    priority=-1000 preferredOrder=0 match=0x108000 specificIndex=-1 isDefault=true\n"
            "    com.android.settings/.FallbackHome\n");
  EXPECT_EQ(output("cmd package set-home-activity com.vext.tolva.kids/.KidsHome"), "Success\n");
  EXPECT_EQ(output("cmd package resolve-activity --brief " + home),
            "priority=0 preferredOrder=0 match=0x108000 specificIndex=-1 isDefault=true\n"
            "com.vext.tolva.kids/.KidsHome\n");
  ToolRun refused = tablet().shell("cmd package set-home-activity com.example.nope/.Home");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stdoutData, "Error: Failed to set default home.\n");
  output("cmd package set-home-activity com.vext.tolva.home/.HomeActivity");

  std::string dreams = output("cmd package query-services -a android.service.dreams.DreamService");
  EXPECT_TRUE(dreams.starts_with("2 services found:\n  Service #0:\n")) << dreams;
  EXPECT_NE(dreams.find("      name=com.vext.tolva.dreams.PaperDream\n"), std::string::npos);
  std::string listeners = output(
      "cmd package query-services --brief -a "
      "android.service.notification.NotificationListenerService");
  EXPECT_NE(listeners.find("    com.vext.tolva.companion/.NotificationRelay\n"), std::string::npos);
  EXPECT_EQ(output("cmd package resolve-activity --brief -a android.intent.action.SEND"),
            "No activity found\n");
}

TEST_F(StandinAndroidTest, NetworkReportsTheWifiNameAndAddress) {
  EXPECT_NE(output("cmd wifi status").find("Wifi is connected to \"Vext Lab\"\n"),
            std::string::npos);
  EXPECT_NE(output("dumpsys wifi").find("mWifiInfo SSID: \"Vext Lab\", "), std::string::npos);
  EXPECT_EQ(output("ip route"),
            "192.168.1.0/24 dev wlan0 proto kernel scope link src 192.168.1.47\n");
  EXPECT_NE(output("dumpsys battery").find("\n  level: 76\n"), std::string::npos);
}

TEST_F(StandinAndroidTest, WindowManagerReportsPhysicalAndOverrideValues) {
  EXPECT_EQ(output("wm size"), "Physical size: 1404x1872\n");
  EXPECT_EQ(output("wm density"), "Physical density: 300\n");
  output("wm density 260; wm size 1200x1600");
  EXPECT_EQ(output("wm density"), "Physical density: 300\nOverride density: 260\n");
  EXPECT_EQ(output("wm size"), "Physical size: 1404x1872\nOverride size: 1200x1600\n");
  EXPECT_NE(output("dumpsys window displays").find(" cur=1200x1600 "), std::string::npos);
  output("wm density reset; wm size reset");
  EXPECT_EQ(output("wm density"), "Physical density: 300\n");
}

TEST_F(StandinAndroidTest, KeyeventsDriveWakefulnessAndTheKeyguard) {
  output("input keyevent KEYCODE_SLEEP");
  EXPECT_NE(output("dumpsys power").find("\n  mWakefulness=Asleep\n"), std::string::npos);
  EXPECT_NE(output("dumpsys window policy").find("\n      showing=true\n"), std::string::npos);

  output("input keyevent KEYCODE_WAKEUP");
  EXPECT_NE(output("dumpsys power").find("\n  mWakefulness=Awake\n"), std::string::npos);
  EXPECT_NE(output("dumpsys window").find("isKeyguardShowing=true"), std::string::npos)
      << "waking does not unlock";
  output("input keyevent 82");
  EXPECT_NE(output("dumpsys window").find("isKeyguardShowing=false"), std::string::npos);
}

TEST_F(StandinAndroidTest, InputAndActivitiesAreLogged) {
  output(
      "input tap 100 200; input text 'hello%sworld'; am start -a android.intent.action.VIEW -d "
      "https://example.com/a");
  std::string log = tablet().inputLog();
  EXPECT_NE(log.find("tap 100 200\ntext hello%sworld\n"
                     "am start -a android.intent.action.VIEW -d https://example.com/a\n"),
            std::string::npos)
      << log;
  EXPECT_NE(output("dumpsys window displays")
                .find("mCurrentFocus=Window{d15e7d0 u0 "
                      "com.vext.tolva.browser/.BrowserActivity}"),
            std::string::npos);

  ToolRun missing = tablet().shell("am start -n com.example.missing/.Main");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.stderrData.find("Error: Activity class {com.example.missing/.Main} does not "
                                    "exist."),
            std::string::npos);
}

TEST_F(StandinAndroidTest, ScreencapGivesAPngOfThePanel) {
  ToolRun run = tablet().adb({"exec-out", "screencap -p"});
  ASSERT_EQ(run.status, 0);
  const std::string& png = run.stdoutData;
  ASSERT_GT(png.size(), 33u);
  EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
  EXPECT_EQ(png.substr(12, 12), std::string("IHDR\0\0\x05\x7c\0\0\x07\x50", 12)) << "1404x1872";
  EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");
}

TEST_F(StandinAndroidTest, DfReportsTheDataPartitionInKilobytes) {
  std::string df = output("df /data");
  std::regex shape(R"(Filesystem +1K-blocks +Used +Available +Use% Mounted on
/dev/block/dm-7 +([0-9]+) +([0-9]+) +([0-9]+) +[0-9]+% /data
)");
  std::smatch fields;
  ASSERT_TRUE(std::regex_match(df, fields, shape)) << df;
  EXPECT_GT(std::stoull(fields[1]), std::stoull(fields[3]));
}

TEST_F(StandinAndroidTest, ACommandCanBeReplacedByATest) {
  auto getprop = tablet().hostPath("/system/bin/getprop");
  std::ifstream in(getprop, std::ios::binary);
  std::string original{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::ofstream(getprop, std::ios::trunc) << "#!/system/bin/sh\necho replaced \"$@\"\n";
  EXPECT_EQ(output("getprop ro.product.model"), "replaced ro.product.model\n");
  std::ofstream(getprop, std::ios::trunc) << original;
}

}  // namespace
}  // namespace lumivale::testing
