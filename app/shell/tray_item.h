#pragma once

#include <memory>

#include <QObject>
#include <QSystemTrayIcon>

#include "app/shell/app_parts.h"
#include "app/shell/tray_host_watch.h"
#include "app/shell/tray_menu.h"

namespace lumivale::app {

// The item in the desktop's tray, there while a tray host is: made when one appears (also
// long after the app started) and taken away when it goes.
class TrayItem : public QObject {
  Q_OBJECT

 public:
  explicit TrayItem(AppParts& parts, QObject* parent = nullptr);

  // Whether the item is in a tray now.
  bool shown() const { return icon_ != nullptr; }
  TrayMenu& menu() { return *menu_; }

 signals:
  void shownChanged(bool shown);
  void openWindow();
  void quit();

 private:
  void follow(bool hostPresent);

  TrayHostWatch host_;
  std::unique_ptr<TrayMenu> menu_;
  std::unique_ptr<QSystemTrayIcon> icon_;  // after the menu it shows, so it goes first
};

}  // namespace lumivale::app
