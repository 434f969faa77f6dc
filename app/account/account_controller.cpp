#include "app/account/account_controller.h"

#include "core/account/account_session.h"

namespace lumivale::app {
namespace {

// Where the sign-in is kept, said only when it is not the keychain.
std::string storeNote(companion::AccountContext& account) {
  return account.storeNotice() ? *account.storeNotice() : std::string();
}

}  // namespace

AccountController::AccountController(QObject* parent) : QObject(parent) {}

void AccountController::start() {
  busy_ = true;
  emit changed();
}

void AccountController::show(Outcome outcome) {
  busy_ = false;
  email_ = std::move(outcome.email);
  status_ = std::move(outcome.status);
  emit changed();
}

void AccountController::fail(const std::string& message) {
  busy_ = false;
  emit changed();
  emit failed(QString::fromStdString(message));
}

void AccountController::check() {
  start();
  work_.run<Outcome>(
      [](const StopToken&) {
        companion::AccountContext account;
        PortmarkClient portmark = account.portmark();
        SessionCheck check = AccountSession::check(account.home(), portmark);
        if (check.user) return Outcome{check.user->email, storeNote(account)};
        return Outcome{std::nullopt, check.userMessage()};
      },
      [this](Outcome outcome) { show(std::move(outcome)); },
      [this](const std::string& message) { fail(message); });
}

void AccountController::signIn(companion::SignInForm form) {
  start();
  work_.run<Outcome>(
      [form = std::move(form)](const StopToken&) {
        companion::AccountContext account;
        AuthUser user = companion::signIn(account, form);
        return Outcome{user.email, storeNote(account)};
      },
      [this](Outcome outcome) { show(std::move(outcome)); },
      [this](const std::string& message) { fail(message); });
}

void AccountController::signOut() {
  start();
  work_.run<Outcome>(
      [](const StopToken&) {
        companion::AccountContext account;
        SignOutReport report = companion::signOut(account);
        std::string said = "Signed out.";
        for (const std::string& notice : report.notices)
          said += " " + notice;
        return Outcome{std::nullopt, said};
      },
      [this](Outcome outcome) { show(std::move(outcome)); },
      [this](const std::string& message) { fail(message); });
}

}  // namespace lumivale::app
