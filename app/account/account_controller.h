#pragma once

#include <optional>
#include <string>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "companion/account_context.h"

namespace lumivale::app {

// Who is signed in, and signing in, creating an account and signing out. Each piece
// of work reads the settings afresh, so a sign-in by the command line is seen here.
class AccountController : public QObject {
  Q_OBJECT

 public:
  explicit AccountController(QObject* parent = nullptr);

  // The account signed in, once known.
  const std::optional<std::string>& email() const { return email_; }
  // What is said about the sign-in when nobody is signed in, or it is only kept for
  // this run; empty otherwise.
  const std::string& status() const { return status_; }
  bool busy() const { return busy_; }

 public slots:
  void check();
  void signOut();

 public:
  // The password goes to the server and nowhere else: never to the log or the screen.
  void signIn(companion::SignInForm form);

 signals:
  void changed();
  // Every failure, its sentence as it stands.
  void failed(const QString& message);

 private:
  struct Outcome {
    std::optional<std::string> email;
    std::string status;
  };
  void start();
  void show(Outcome outcome);
  void fail(const std::string& message);

  std::optional<std::string> email_;
  std::string status_;
  bool busy_ = false;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
