// The bridge through the real adb against stand-in tablets: finding, choosing, the
// tablet's facts, and the screen and input operations.
#include <condition_variable>
#include <functional>
#include <mutex>

#include <gtest/gtest.h>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/device_watcher.h"
#include "tests/integration/eventually.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinOptions;
using testing::StandinTablet;

// A bridge on the system adb, talking to the tablet's private adb server, with
// the tablet named as the stand-in (so it counts as cabled).
AdbBridge bridgeFor(const StandinTablet& tablet) {
  return AdbBridge("/usr/bin/adb", tablet.adbEnvironment(), StandinHooks{tablet.serial(), false});
}

RememberedTablet rememberedWifi(const StandinTablet& tablet, std::string userId) {
  return {.serial = "LV1-" + std::to_string(tablet.port()),
          .lastIP = "127.0.0.1",
          .lastPort = tablet.port(),
          .accountUserId = std::move(userId)};
}

std::string failureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const AdbError& error) {
    return error.message();
  }
  return "(no failure)";
}

// One ready tablet, shared by the tests that only read it or act on its screen.
class ReadyTabletTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = new StandinTablet(); }
  static void TearDownTestSuite() {
    delete tablet;
    tablet = nullptr;
  }
  static StandinTablet* tablet;
  AdbBridge bridge = bridgeFor(*tablet);
};
StandinTablet* ReadyTabletTest::tablet = nullptr;

TEST_F(ReadyTabletTest, TheServerStartsAndOneTabletIsReady) {
  bridge.ensureServer();
  EXPECT_TRUE(bridge.serverStarted());
  auto tablets = bridge.tablets(true, {}, std::nullopt);
  ASSERT_EQ(tablets.size(), 1u);
  EXPECT_EQ(tablets[0].serial, tablet->serial());
  auto choice = AdbTablets::choose(tablets, std::nullopt);
  EXPECT_EQ(choice.state, TabletState::ready);
  EXPECT_EQ(bridge.connectionSerial(tablet->serial(), true, {}, std::nullopt), tablet->serial());
}

TEST_F(ReadyTabletTest, ARunningServerIsAskedDirectlyForWhatAdbDevicesLists) {
  bridge.ensureServer();
  auto version = AdbLocate::answeredVersion("/usr/bin/adb");
  ASSERT_TRUE(version);
  // An adb that cannot even start: the listing can only come from the server.
  AdbBridge asking("/nonexistent/adb", tablet->adbEnvironment(),
                   StandinHooks{tablet->serial(), false}, version);
  auto rawLines = [](const std::vector<AdbParse::ParsedDevice>& devices) {
    std::vector<std::string> lines;
    for (const auto& parsed : devices)
      lines.push_back(parsed.raw);
    return lines;
  };
  auto direct = rawLines(asking.devices(true));
  EXPECT_EQ(direct, rawLines(bridge.devices(true)));
  ASSERT_EQ(direct.size(), 1u);
  EXPECT_TRUE(direct[0].starts_with(tablet->serial() + " ")) << direct[0];
}

TEST_F(ReadyTabletTest, InfoComesFromTheTabletsOwnTools) {
  DeviceInfo info = bridge.deviceInfo(tablet->serial());
  EXPECT_EQ(info.serial, tablet->serial());
  EXPECT_EQ(info.model, "LV-1");
  EXPECT_EQ(info.buildFingerprint,
            "Vext/vext_tolva/tolva:13/TQ3A.230901.001/261:user/release-keys");
  EXPECT_EQ(info.versionLabel, "LV-1 2.6.1 beta");
  EXPECT_EQ(info.channel, "beta");
  EXPECT_EQ(info.androidRelease, "13");
  EXPECT_EQ(info.batteryPercent, 76);
  EXPECT_EQ(info.charging, true);
  ASSERT_TRUE(info.dataTotalBytes && info.dataFreeBytes);
  EXPECT_GT(*info.dataTotalBytes, 0);
  EXPECT_LE(*info.dataFreeBytes, *info.dataTotalBytes);
  EXPECT_EQ(info.wifiSsid, "Vext Lab");
  EXPECT_EQ(info.ipAddress, "192.168.1.47");
}

TEST_F(ReadyTabletTest, ATabletAsleepIsWokenAndThenAskedToUnlock) {
  bridge.shell(tablet->serial(), "input keyevent KEYCODE_SLEEP", Seconds(10));
  EXPECT_EQ(failureOf([&] { bridge.requireReadyForInput(tablet->serial()); }),
            tablet->serial() + " is Asleep, not awake; input would be dropped");
  bridge.wake(tablet->serial());
  EXPECT_EQ(bridge.wakefulness(tablet->serial()), "Awake");
  EXPECT_TRUE(bridge.keyguardShowing(tablet->serial()));
  EXPECT_EQ(failureOf([&] { bridge.requireReadyForInput(tablet->serial()); }),
            "the lock screen is showing on " + tablet->serial() + "; unlock the tablet first");
  EXPECT_EQ(failureOf([&] { bridge.screenshot(tablet->serial()); }),
            "keyguard is showing on " + tablet->serial() +
                "; unlock the tablet before taking a screenshot");
  bridge.shell(tablet->serial(), "input keyevent KEYCODE_MENU", Seconds(10));
  EXPECT_NO_THROW(bridge.requireReadyForInput(tablet->serial()));
}

TEST_F(ReadyTabletTest, AScreenshotIsAPng) {
  std::string png = bridge.screenshot(tablet->serial());
  ASSERT_GT(png.size(), 8u);
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
}

TEST_F(ReadyTabletTest, TypedTextAndTapsReachTheTablet) {
  ScreenFrame frame = bridge.screenFrame(tablet->serial(), Seconds(0));
  EXPECT_EQ(frame, (ScreenFrame{1404, 1872, 0}));
  bridge.typeText(tablet->serial(), "it's 5 o'clock");
  bridge.typeText(tablet->serial(), "100%sure");
  bridge.tap(tablet->serial(), 10, 20, frame);
  EXPECT_EQ(failureOf([&] { bridge.tap(tablet->serial(), 1404, 20); }),
            "(1404, 20) is outside the screen (coordinates start at 0)");
  bridge.openURL(tablet->serial(), "https://example.org/?a=1&b=2");
  std::string log = tablet->inputLog();
  EXPECT_NE(log.find("text it's%s5%so'clock\n"), std::string::npos) << log;
  EXPECT_NE(log.find("text 100%\ntext sure\n"), std::string::npos) << log;
  EXPECT_NE(log.find("tap 10 20\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("tap 1404 20"), std::string::npos) << log;
  EXPECT_NE(log.find("https://example.org/?a=1&b=2"), std::string::npos) << log;
}

TEST(TabletChoiceTest, TwoTabletsMustBeChosenAndAChosenOneGoneIsReported) {
  StandinTablet first;
  StandinTablet second(StandinOptions().through(first.adbServer()));
  AdbBridge bridge = bridgeFor(first);
  // The second is reached over TCP like a Wi-Fi tablet, remembered by this account.
  std::vector<RememberedTablet> remembered{rememberedWifi(second, "u1")};
  auto tablets = bridge.tablets(true, remembered, "u1");
  ASSERT_EQ(tablets.size(), 2u);
  EXPECT_EQ(AdbTablets::choose(tablets, std::nullopt).state, TabletState::choose);
  EXPECT_EQ(AdbTablets::choose(tablets, second.serial()).state, TabletState::ready);

  second.disconnect();
  tablets = bridge.tablets(true, remembered, "u1");
  ASSERT_EQ(tablets.size(), 1u);
  auto away = AdbTablets::choose(tablets, second.serial());
  EXPECT_EQ(away.state, TabletState::chosenAway);
  EXPECT_EQ(away.state.refusal(), "The Lumivale this Mac is set to use is not connected.");
}

TEST(TabletChoiceTest, AnUnrememberedTcpTabletIsNotUsed) {
  StandinTablet first;
  StandinTablet stranger(StandinOptions().through(first.adbServer()));
  AdbBridge bridge = bridgeFor(first);
  EXPECT_EQ(bridge.devices(true).size(), 2u) << "adb sees both LV-1s";
  auto tablets = bridge.tablets(true, {rememberedWifi(stranger, "someone else")}, "u1");
  ASSERT_EQ(tablets.size(), 1u);
  EXPECT_EQ(tablets[0].serial, first.serial());
  EXPECT_EQ(AdbTablets::choose(tablets, std::nullopt).state, TabletState::ready);
  // Remembered by this account but never checked: not handed out either.
  EXPECT_EQ(
      bridge.connectionSerial(stranger.serial(), true, {rememberedWifi(stranger, "u1")}, "u1"),
      std::nullopt);
}

TEST(TabletChoiceTest, AWifiTabletIsUsedOnceItsCheckIsReadBack) {
  StandinTablet first;
  StandinTablet wifi(StandinOptions().through(first.adbServer()));
  AdbBridge bridge = bridgeFor(first);
  RememberedTablet known = rememberedWifi(wifi, "u1");
  known.checkId = "c1";
  known.checkToken = "t0ken";
  bridge.leaveCheck(wifi.serial(), {"c1", "t0ken"});
  EXPECT_EQ(bridge.connectionSerial(wifi.serial(), true, {known}, "u1"), wifi.serial());
  known.checkToken = "other";
  EXPECT_EQ(bridge.connectionSerial(wifi.serial(), true, {known}, "u1"), std::nullopt);
}

TEST(TabletChoiceTest, AnUnauthorizedTabletWaitsForApproval) {
  StandinTablet tablet(StandinOptions().fault("unauthorized"));
  AdbBridge bridge = bridgeFor(tablet);
  AdbTablets::Choice choice;
  EXPECT_TRUE(testing::eventually([&] {
    choice = AdbTablets::choose(bridge.tablets(true, {}, std::nullopt), std::nullopt);
    return choice.state == TabletState::waitingForApproval;
  })) << choice.state.name();
  EXPECT_EQ(choice.state.refusal(), "On your Lumivale, tap Allow for this Mac first.");
}

// Counts the watcher's reports and lets a test wait for more of them.
class ReportCounter {
 public:
  std::function<void()> callback() {
    return [this] {
      std::lock_guard guard(mutex_);
      ++reports_;
      changed_.notify_all();
    };
  }
  int count() {
    std::lock_guard guard(mutex_);
    return reports_;
  }
  bool awaitMoreThan(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return reports_ > count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int reports_ = 0;
};

TEST(DeviceWatcherTest, ANewConnectionIsNoticed) {
  StandinTablet first;
  AdbBridge bridge = bridgeFor(first);
  ReportCounter reports;
  DeviceWatcher watcher(bridge, reports.callback());
  ASSERT_TRUE(reports.awaitMoreThan(0)) << "the first report is the list as it stands";
  int before = reports.count();
  StandinTablet second(StandinOptions().through(first.adbServer()));
  EXPECT_TRUE(reports.awaitMoreThan(before));
}

TEST(DeviceWatcherTest, TrackingThatEndsIsReportedAndStartsAgain) {
  StandinTablet tablet;
  AdbBridge bridge = bridgeFor(tablet);
  ReportCounter reports;
  DeviceWatcher watcher(bridge, reports.callback());
  ASSERT_TRUE(reports.awaitMoreThan(0));
  int before = reports.count();
  ToolRun stop = ToolRun::runIn(bridge.environment(), "/usr/bin/adb", {"kill-server"}, Seconds(10));
  ASSERT_EQ(stop.status, 0) << stop.stderrData;
  EXPECT_TRUE(reports.awaitMoreThan(before)) << "the end of tracking is a change";
  // Tracking again starts a server, whose first report is its (empty) list.
  EXPECT_TRUE(reports.awaitMoreThan(before + 1));
}

}  // namespace
}  // namespace lumivale
