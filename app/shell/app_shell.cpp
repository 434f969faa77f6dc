#include "app/shell/app_shell.h"

#include <QApplication>

#include "app/shell/app_icon.h"

namespace lumivale::app {

AppShell::AppShell(AppParts& parts, QObject* parent)
    : QObject(parent), parts_(parts), window_(parts.makeWindow()), tray_(parts) {
  window_->setWindowIcon(appIcon());
  connect(&tray_, &TrayItem::openWindow, this, &AppShell::openWindow);
  connect(&tray_, &TrayItem::quit, this, [this] {
    window_->close();  // keeps the window's place
    QApplication::quit();
  });
  connect(&tray_, &TrayItem::shownChanged, this, &AppShell::trayShown);
  trayShown(tray_.shown());
}

void AppShell::start(bool minimized) {
  if (!minimized || !tray_.shown()) window_->show();
  parts_.start();
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
