#include "app/shell/tablet_tracker.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMetaObject>

#include "companion/tablet_link.h"
#include "core/settings/config_store.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/device_watcher.h"
#include "core/tablet/wifi/wifi_transport.h"

namespace lumivale::app {

namespace {
struct Opened {
  std::shared_ptr<AdbBridge> bridge;
  std::shared_ptr<DeviceWatcher> watcher;
};
}  // namespace

const AdbDevice* TabletView::connection() const {
  if (!ready()) return nullptr;
  for (const AdbTablet& one : tablets)
    for (const AdbDevice& device : one.connections)
      if (device.serial == *serial) return &device;
  return nullptr;
}

std::string TabletView::stateLine() const {
  return ready() ? "Your Lumivale is ready." : refusal.value_or("");
}

TabletTracker::TabletTracker(QObject* parent) : QObject(parent) {
  view_.refusal = view_.state.refusal();
}

TabletTracker::~TabletTracker() {
  // The watcher's thread calls back into this object: every watcher ends first, also
  // one just opened whose hand-over to the main thread is still queued.
  work_.finish();
  QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
  watcher_.reset();
}

void TabletTracker::start() {
  work_.run<Opened>(
      [this](const StopToken& stop) {
        auto bridge = companion::openBridge(stop);
        bridge->ensureServer(&stop);
        auto watcher = std::make_shared<DeviceWatcher>(*bridge, [this] {
          QMetaObject::invokeMethod(this, &TabletTracker::lookAgain, Qt::QueuedConnection);
        });
        return Opened{std::move(bridge), std::move(watcher)};
      },
      [this](Opened opened) { this->opened(std::move(opened.bridge), std::move(opened.watcher)); },
      [this](const std::string& message) { lookFailed(message); });
}

void TabletTracker::opened(std::shared_ptr<AdbBridge> bridge,
                           std::shared_ptr<DeviceWatcher> watcher) {
  bridge_ = std::move(bridge);
  watcher_ = std::move(watcher);
  lookAgain();
}

void TabletTracker::lookAgain() {
  if (!bridge_) return;
  if (looking_) {
    lookWanted_ = true;
    return;
  }
  looking_ = true;
  work_.run<TabletView>(
      [bridge = bridge_](const StopToken& stop) {
        LumivaleConfig config = ConfigStore::load();
        companion::TabletLook look =
            companion::lookForTablets(*bridge, std::nullopt, config, &stop);
        TabletView view;
        view.tablets = std::move(look.tablets);
        view.chosen = config.deviceSerial;
        view.state = look.choice.state;
        view.refusal = view.state.refusal();
        view.serial = look.serial;
        for (const AdbTablet& tablet : view.tablets)
          if (look.serial && tablet.hasSerial(*look.serial)) {
            view.tablet = tablet.serial;
            view.unencryptedWifi =
                WifiTransport::unencrypted(*look.serial, tablet.serial, config.wifiTablets);
          }
        return view;
      },
      [this](TabletView view) { looked(std::move(view)); },
      [this](const std::string& message) { lookFailed(message); });
}

void TabletTracker::looked(TabletView view) {
  looking_ = false;
  view_ = std::move(view);
  emit changed();
  if (lookWanted_) {
    lookWanted_ = false;
    lookAgain();
  }
}

void TabletTracker::lookFailed(const std::string& message) {
  TabletView view;
  view.state = TabletState::notConnected;
  view.refusal = message;
  looked(std::move(view));
}

}  // namespace lumivale::app
