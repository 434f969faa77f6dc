#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QWidget>

#include "app/settings/settings_controller.h"

namespace lumivale::app {

// Which adb is used and why the others are not; in staff builds, the server addresses.
class SettingsPane : public QWidget {
  Q_OBJECT

 public:
  explicit SettingsPane(SettingsController& controller, QWidget* parent = nullptr);

 private:
  void show();

  SettingsController& controller_;
  QLabel* adbInUse_;
  QTreeWidget* adbs_;
  QTreeWidget* servers_ = nullptr;
  QLabel* serverChecks_ = nullptr;
  QLabel* problem_;
};

}  // namespace lumivale::app
