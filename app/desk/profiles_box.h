#pragma once

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>

#include "app/desk/profiles_controller.h"

namespace lumivale::app {

// The leave-the-desk profiles on the Desk pane: a button for each, Restore, which one is
// active, and what the latest apply or restore did to each setting.
class ProfilesBox : public QGroupBox {
  Q_OBJECT

 public:
  explicit ProfilesBox(ProfilesController& controller, QWidget* parent = nullptr);

 private:
  void showStatus();
  void showOutcome();

  ProfilesController& controller_;
  QList<QPushButton*> buttons_;
  QPushButton* restore_;
  QLabel* active_;
  QLabel* outcome_;
};

}  // namespace lumivale::app
