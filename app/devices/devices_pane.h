#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QWidget>

#include "app/devices/devices_controller.h"

namespace lumivale::app {

// The tablets with their connections, the choice of one, and the ready tablet's facts,
// wake and screenshot.
class DevicesPane : public QWidget {
  Q_OBJECT

 public:
  explicit DevicesPane(DevicesController& controller, QWidget* parent = nullptr);

 private:
  void showTablets();
  void showFacts();
  void showScreenshot();
  void saveScreenshot();
  void showWifiSetup();

  DevicesController& controller_;
  QLabel* state_;
  QTreeWidget* tablets_;
  QPushButton* use_;
  QLabel* facts_;
  QPushButton* wake_;
  QPushButton* takeScreenshot_;
  QPushButton* saveScreenshot_;
  QPushButton* setUpWifi_;
  QLabel* wifiProgress_;
  QLabel* screenshot_;
  QLabel* problem_;
};

}  // namespace lumivale::app
