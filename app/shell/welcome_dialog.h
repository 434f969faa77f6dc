#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "app/shell/welcome_controller.h"

namespace lumivale::app {

// The first-run welcome over the window: each step of the controller as a heading, what
// to do, and the one button that moves on.
class WelcomeDialog : public QDialog {
  Q_OBJECT

 public:
  explicit WelcomeDialog(WelcomeController& controller, QWidget* parent = nullptr);

  QString heading() const { return heading_->text(); }
  QString body() const { return body_->text(); }

 private:
  void showStep();

  WelcomeController& controller_;
  QLabel* heading_;
  QLabel* body_;
  QLabel* problem_;
  QCheckBox* agree_;
  QPushButton* getTools_;
  QProgressBar* progress_;
  QPushButton* done_;
};

}  // namespace lumivale::app
