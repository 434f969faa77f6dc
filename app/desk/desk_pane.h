#pragma once

#include <map>
#include <string>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QWidget>

#include "app/desk/desk_controller.h"
#include "app/desk/profiles_controller.h"

namespace lumivale::app {

// The tablet's settings in their three groups: a slider, switch or list for each one
// that can be changed, its value as read back, and its failure beside it; the
// leave-the-desk profiles above them.
class DeskPane : public QWidget {
  Q_OBJECT

 public:
  DeskPane(DeskController& controller, ProfilesController& profiles, QWidget* parent = nullptr);

 private:
  struct Row {
    QLabel* shown = nullptr;
    QLabel* error = nullptr;
    QSlider* slider = nullptr;
    QCheckBox* toggle = nullptr;
    QComboBox* choice = nullptr;
  };

  QWidget* makeRow(const DeviceSetting& setting);
  void showSetting(const std::string& id);
  void showAll();

  DeskController& controller_;
  std::map<std::string, Row> rows_;
};

}  // namespace lumivale::app
