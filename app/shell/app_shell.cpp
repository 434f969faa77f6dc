#include "app/shell/app_shell.h"

#include <QApplication>
#include <QKeySequence>
#include <QShortcut>

#include "app/shell/app_icon.h"
#include "app/shell/welcome_dialog.h"

namespace lumivale::app {

AppShell::AppShell(AppParts& parts, QObject* parent)
    : QObject(parent), parts_(parts), window_(parts.makeWindow()), tray_(parts) {
  window_->setWindowIcon(appIcon());
  connect(&tray_, &TrayItem::openWindow, this, &AppShell::openWindow);
  connect(&tray_, &TrayItem::quit, this, &AppShell::quit);
  auto* quit = new QShortcut(QKeySequence::Quit, window_.get());
  connect(quit, &QShortcut::activated, this, &AppShell::quit);
  connect(&tray_, &TrayItem::shownChanged, this, &AppShell::trayShown);
  trayShown(tray_.shown());
}

void AppShell::start(bool minimized) {
  const bool welcoming = WelcomeController::needed();
  if (welcoming || !minimized || !tray_.shown()) window_->show();
  parts_.start();
  if (welcoming) startWelcome();
}

void AppShell::startWelcome() {
  welcome_ = std::make_unique<WelcomeController>(parts_.tracker);
  auto* dialog = new WelcomeDialog(*welcome_, window_.get());
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(welcome_.get(), &WelcomeController::finished, this,
          [this] { window_->showPane(tr("Devices")); });
  dialog->open();
  welcome_->start();
}

void AppShell::quit() {
  window_->close();  // keeps the window's place
  QApplication::quit();
}

void AppShell::openWindow() {
  window_->show();
  window_->raise();
  window_->activateWindow();
}

void AppShell::trayShown(bool shown) {
  QApplication::setQuitOnLastWindowClosed(!shown);
  // The tray went away with the window in it: the window is all that is left.
  if (!shown && window_->isHidden()) openWindow();
}

}  // namespace lumivale::app
