#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QWidget>

#include "app/account/account_controller.h"

namespace lumivale::app {

// The sign-in form (or the new account's), who is signed in, and Sign out.
class AccountPane : public QWidget {
  Q_OBJECT

 public:
  explicit AccountPane(AccountController& controller, QWidget* parent = nullptr);

 private:
  void show();
  void send();

  AccountController& controller_;
  QLabel* who_;
  QWidget* form_;
  QLineEdit* email_;
  QLineEdit* password_;
  QCheckBox* createAccount_;
  QLineEdit* name_;
  QPushButton* signIn_;
  QPushButton* signOut_;
  QLabel* problem_;
};

}  // namespace lumivale::app
