// The Devices pane's Wi-Fi set-up, driven through its controller against a stand-in
// tablet on the cable, through the real adb, and what moves with the tablet to Wi-Fi.
#include <filesystem>
#include <fstream>

#include <QSignalSpy>
#include <QTest>

#include "app/clipboard/clipboard_controller.h"
#include "app/devices/devices_controller.h"
#include "app/devices/wifi_reconnector.h"
#include "app/reading-folder/reading_folder_controller.h"
#include "app/shell/tablet_tracker.h"
#include "app/tests/app_test_setting.h"
#include "companion/app_settings_store.h"
#include "core/settings/config_store.h"
#include "core/tablet/wifi/wifi_setup.h"

namespace lumivale::app {
namespace {

namespace fs = std::filesystem;

// Generous: adb and the stand-in share two cores with everything else.
constexpr int deadline = 90'000;

QStringList texts(const QSignalSpy& spy) {
  QStringList said;
  for (const auto& arguments : spy)
    said << arguments.at(0).toString();
  return said;
}

QString shown(WifiSetup::Step step) {
  return QString::fromStdString(WifiSetup::stepText(step));
}

}  // namespace

class DevicesWifiTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    setting_ = std::make_unique<testing::AppTestSetting>();
    // Its Wi-Fi side listens on loopback: that is its address on the network.
    QCOMPARE(
        setting_->tablet()
            .shell("mkdir -p /data/standin/wifi && echo 127.0.0.1 > /data/standin/wifi/address")
            .status,
        0);
    ConfigStore::update([](LumivaleConfig& config) { config.userId = "u1"; });
    tracker_ = std::make_unique<TabletTracker>();
    devices_ = std::make_unique<DevicesController>(*tracker_);
    tracker_->start();
    QTRY_VERIFY_WITH_TIMEOUT(devices_->onCable(), deadline);
  }

  void cleanupTestCase() {
    devices_.reset();
    tracker_.reset();
    setting_.reset();
  }

  void aSetUpThatIsNotAllowedSaysWhatToDo() {
    QSignalSpy failed(devices_.get(), &DevicesController::wifiSetupFailed);
    devices_->setUpWifi();
    QVERIFY(failed.wait(deadline));
    QCOMPARE(failed.at(0).at(0).toString(),
             "Wi-Fi set up over the cable is not encrypted, and this Mac allows only encrypted "
             "Wi-Fi. Pair with a code instead (lumivale wifi pair HOST:PORT CODE), or allow it "
             "with lumivale config set wifiAllowUnencrypted true.");
    QVERIFY(!devices_->settingUpWifi());
    QVERIFY(ConfigStore::load().wifiTablets.empty());
  }

  void setsUpWifiOverTheCableStepByStep() {
    ConfigStore::update([](LumivaleConfig& config) { config.wifiAllowUnencrypted = true; });
    QSignalSpy steps(devices_.get(), &DevicesController::wifiStep);
    QSignalSpy done(devices_.get(), &DevicesController::wifiSetUp);
    QSignalSpy failed(devices_.get(), &DevicesController::wifiSetupFailed);
    QSignalSpy looked(tracker_.get(), &TabletTracker::changed);
    devices_->setUpWifi();
    QVERIFY(devices_->settingUpWifi());
    QTRY_VERIFY_WITH_TIMEOUT(!done.isEmpty() || !failed.isEmpty(), deadline);
    QCOMPARE(texts(failed), QStringList());

    const auto port = setting_->tablet().wifiPort();
    QVERIFY(port);
    QCOMPARE(done.at(0).at(0).toString(),
             QString("Wi-Fi is set up for LV-1 at 127.0.0.1:%1.").arg(*port));
    QCOMPARE(texts(steps),
             (QStringList{shown(WifiSetup::Step::findingAddress),
                          shown(WifiSetup::Step::turningOnNetworkDebugging),
                          shown(WifiSetup::Step::leavingCheck), shown(WifiSetup::Step::connecting),
                          shown(WifiSetup::Step::checking)}));
    auto remembered = ConfigStore::load().wifiTablets;
    QCOMPARE(remembered.size(), 1u);
    QCOMPARE(remembered[0].serial, setting_->tablet().serial());
    QCOMPARE(remembered[0].lastPort, *port);

    // The tablet is shown with both its connections, the cable still in use.
    QTRY_VERIFY_WITH_TIMEOUT(
        tracker_->view().tablets.size() == 1 && tracker_->view().tablets[0].connections.size() == 2,
        deadline);
    QVERIFY(devices_->onCable());
    QVERIFY(!devices_->settingUpWifi());
  }

  // A watch started over the cable goes on over Wi-Fi once the cable is pulled.
  void aWatchFollowsTheTabletFromTheCableToWifi() {
    testing::TemporaryFolder local;
    const fs::path reading = local.path() / "Reading";
    fs::create_directories(reading);
    companion::AppSettingsStore::standard().update([&](companion::AppSettings& settings) {
      settings.readingFolderPath = fs::canonical(reading);
      settings.readingFolderWatched = true;
    });
    ReadingFolderController folder(*tracker_);
    QTRY_VERIFY_WITH_TIMEOUT(folder.watching(), deadline);
    // The first look over the cable has ended.
    QTRY_VERIFY_WITH_TIMEOUT(folder.lastResult().endsWith("failed"), deadline);

    const auto port = setting_->tablet().wifiPort();
    QVERIFY(port);
    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(
        tracker_->view().ready() && tracker_->view().serial == "127.0.0.1:" + std::to_string(*port),
        deadline);
    std::ofstream(reading / "over wifi.txt") << "moved";
    QTRY_VERIFY_WITH_TIMEOUT(folder.lastResult().startsWith("1 copied"), deadline);
    const fs::path onTablet = setting_->tablet().storageFolder() /
                              fs::path(folder.tabletFolder()).lexically_relative("/sdcard");
    QVERIFY(fs::exists(onTablet / "over wifi.txt"));
  }

  // Over Wi-Fi set up over the cable the shared clipboard does not run.
  void theClipboardPausesOverUnencryptedWifi() {
    const auto port = setting_->tablet().wifiPort();
    QVERIFY(port);
    const QString wifi = QString("127.0.0.1:%1").arg(*port);
    // The cable is pulled: only the Wi-Fi connection is left.
    QTRY_VERIFY_WITH_TIMEOUT(
        tracker_->view().ready() && tracker_->view().serial == wifi.toStdString(), deadline);
    QVERIFY(tracker_->view().unencryptedWifi);
    ClipboardController clipboard(*tracker_);
    QSignalSpy failed(&clipboard, &ClipboardController::failed);
    clipboard.setSharing(true);
    QTRY_COMPARE_WITH_TIMEOUT(clipboard.statusLine(), "Paused: unencrypted Wi-Fi", deadline);
    QTRY_VERIFY_WITH_TIMEOUT(!failed.isEmpty(), deadline);
    QCOMPARE(failed.at(0).at(0).toString(),
             "Paused: your Lumivale is on unencrypted Wi-Fi. Plug in the cable, or set up "
             "encrypted Wi-Fi in Devices.");
    QCOMPARE(clipboard.statusLine(), "Paused: unencrypted Wi-Fi");
  }

  // A Wi-Fi connection that dropped comes back by itself once the app is running.
  void theWifiConnectionComesBackByItself() {
    const auto port = setting_->tablet().wifiPort();
    QVERIFY(port);
    const std::string wifi = "127.0.0.1:" + std::to_string(*port);
    QTRY_VERIFY_WITH_TIMEOUT(tracker_->view().ready(), deadline);
    QCOMPARE(setting_->tablet().adb({"disconnect", wifi}).status, 0);
    QTRY_VERIFY_WITH_TIMEOUT(!tracker_->view().ready(), deadline);
    WifiReconnector reconnector(*tracker_);
    QTRY_VERIFY_WITH_TIMEOUT(tracker_->view().ready() && tracker_->view().serial == wifi, deadline);
  }

 private:
  std::unique_ptr<testing::AppTestSetting> setting_;
  std::unique_ptr<TabletTracker> tracker_;
  std::unique_ptr<DevicesController> devices_;
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::DevicesWifiTest)
#include "devices_wifi_test.moc"
