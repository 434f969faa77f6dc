#pragma once

#include <optional>
#include <string>

#include <QByteArray>
#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/tablet/adb_device.h"

namespace lumivale::app {

// The tablets and the chosen one: choosing, its facts, waking it, its screenshot, and
// setting up Wi-Fi for it over the cable.
class DevicesController : public QObject {
  Q_OBJECT

 public:
  explicit DevicesController(TabletTracker& tracker, QObject* parent = nullptr);

  TabletTracker& tracker() { return tracker_; }
  // The facts of the ready tablet, once read.
  const std::optional<DeviceInfo>& facts() const { return facts_; }
  // The latest screenshot, a PNG; empty until one is taken.
  const QByteArray& screenshot() const { return screenshot_; }
  // Whether the tablet in use is ready on the cable, so Wi-Fi can be set up for it.
  bool onCable() const;
  bool settingUpWifi() const { return settingUpWifi_; }

 public slots:
  // Makes `serial` the chosen tablet of the settings (the command line's too).
  void choose(const QString& serial);
  void readFacts();
  void wake();
  void takeScreenshot();
  void saveScreenshot(const QString& path);
  // The steps of `lumivale wifi setup`, on a worker of their own: each step as it begins
  // (wifiStep), then wifiSetUp with the sentence to show, or wifiSetupFailed.
  void setUpWifi();

 signals:
  void factsChanged();
  void woken();
  void screenshotTaken();
  void screenshotSaved(const QString& path);
  void failed(const QString& message);
  void wifiStep(const QString& step);
  void wifiSetUp(const QString& result);
  void wifiSetupFailed(const QString& message);

 private:
  void follow();
  void fail(const std::string& message);

  TabletTracker& tracker_;
  std::optional<DeviceInfo> facts_;
  QByteArray screenshot_;
  bool settingUpWifi_ = false;
  BackgroundWork work_{this};
  // A set-up waits for the tablet to come back on the cable: the other work goes on.
  BackgroundWork wifiWork_{this};
};

}  // namespace lumivale::app
