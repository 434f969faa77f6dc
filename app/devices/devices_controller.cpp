#include "app/devices/devices_controller.h"

#include <QMetaObject>

#include "companion/wifi_setup_flow.h"
#include "core/settings/atomic_file.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"

namespace lumivale::app {

DevicesController::DevicesController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {
  connect(&tracker_, &TabletTracker::changed, this, &DevicesController::follow);
  follow();
}

void DevicesController::follow() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) {
    facts_.reset();
    screenshot_.clear();
    emit factsChanged();
    return;
  }
  if (!facts_ || facts_->serial != *view.serial) readFacts();
}

void DevicesController::fail(const std::string& message) {
  emit failed(QString::fromStdString(message));
}

void DevicesController::choose(const QString& serial) {
  work_.run(
      [serial = serial.toStdString()](const StopToken&) {
        ConfigStore::update([&](LumivaleConfig& config) { config.deviceSerial = serial; });
      },
      [this] { tracker_.lookAgain(); }, [this](const std::string& message) { fail(message); });
}

void DevicesController::readFacts() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return;
  work_.run<DeviceInfo>([bridge = tracker_.bridge(), serial = *view.serial](
                            const StopToken& stop) { return bridge->deviceInfo(serial, &stop); },
                        [this](DeviceInfo info) {
                          facts_ = std::move(info);
                          emit factsChanged();
                        },
                        [this](const std::string& message) { fail(message); });
}

void DevicesController::wake() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  work_.run([bridge = tracker_.bridge(),
             serial = *view.serial](const StopToken& stop) { bridge->wake(serial, &stop); },
            [this] { emit woken(); }, [this](const std::string& message) { fail(message); });
}

void DevicesController::takeScreenshot() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  work_.run<std::string>(
      [bridge = tracker_.bridge(), serial = *view.serial](const StopToken& stop) {
        // A locked screen would only show the lock screen: say so instead.
        if (bridge->keyguardShowing(serial, &stop)) throw AdbError(lockScreenRefusal);
        return bridge->screenshot(serial, &stop);
      },
      [this](std::string png) {
        screenshot_ = QByteArray::fromStdString(png);
        emit screenshotTaken();
      },
      [this](const std::string& message) { fail(message); });
}

void DevicesController::saveScreenshot(const QString& path) {
  if (screenshot_.isEmpty()) return;
  work_.run([png = screenshot_.toStdString(),
             file = path.toStdString()](const StopToken&) { writeFileAtomically(file, png); },
            [this, path] { emit screenshotSaved(path); },
            [this](const std::string& message) { fail(message); });
}

bool DevicesController::onCable() const {
  const AdbDevice* connection = tracker_.view().connection();
  return connection && !connection->isWifi();
}

void DevicesController::setUpWifi() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return emit wifiSetupFailed(QString::fromStdString(view.refusal.value_or("")));
  if (settingUpWifi_) return;
  settingUpWifi_ = true;
  wifiWork_.run<RememberedTablet>(
      [this, bridge = tracker_.bridge(), chosen = tracker_.view().chosen](const StopToken& stop) {
        ObserverFunction<WifiSetup::Step> progress([this](const WifiSetup::Step& step) {
          QMetaObject::invokeMethod(
              this,
              [this, text = QString::fromStdString(WifiSetup::stepText(step))] {
                emit wifiStep(text);
              },
              Qt::QueuedConnection);
        });
        return companion::setUpWifiOverCable(*bridge, chosen, &stop, &progress);
      },
      [this](RememberedTablet tablet) {
        settingUpWifi_ = false;
        emit wifiSetUp(QString::fromStdString(companion::setUpSentence(tablet)));
        tracker_.lookAgain();
      },
      [this](const std::string& message) {
        settingUpWifi_ = false;
        emit wifiSetupFailed(QString::fromStdString(message));
        tracker_.lookAgain();
      });
}

}  // namespace lumivale::app
