#pragma once

#include <memory>

#include <QObject>

#include "app/shell/app_parts.h"
#include "app/shell/main_window.h"
#include "app/shell/tray_item.h"
#include "app/shell/welcome_controller.h"

namespace lumivale::app {

// The window and the tray item together. While the item is in a tray, closing the window
// keeps the app running there; without one the window is the app, is never hidden, and
// closing it quits. The first run starts with the welcome, over the window.
class AppShell : public QObject {
  Q_OBJECT

 public:
  explicit AppShell(AppParts& parts, QObject* parent = nullptr);

  // Shows the window, unless `minimized` asks to start in the tray and there is one and
  // no welcome is due.
  void start(bool minimized);

  MainWindow& window() { return *window_; }
  TrayItem& tray() { return tray_; }
  // The welcome under way, if any.
  WelcomeController* welcome() { return welcome_.get(); }

 public slots:
  void openWindow();
  // Closes the window, keeping its place, and ends the app.
  void quit();

 private:
  void trayShown(bool shown);
  void startWelcome();

  AppParts& parts_;
  std::unique_ptr<MainWindow> window_;
  TrayItem tray_;
  std::unique_ptr<WelcomeController> welcome_;
};

}  // namespace lumivale::app
