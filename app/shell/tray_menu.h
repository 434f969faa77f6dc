#pragma once

#include <string>

#include <QAction>
#include <QMenu>

#include "app/shell/app_parts.h"

namespace lumivale::app {

// The tray item's menu: the tablet's state, its warmth and brightness, the shared
// clipboard's switch and status, a Reading folder sync and its last result, the profiles,
// opening the window and quitting. It follows the controllers and drives them; it
// never calls the core itself.
class TrayMenu : public QMenu {
  Q_OBJECT

 public:
  explicit TrayMenu(AppParts& parts, QWidget* parent = nullptr);

  // The line that says how the tablet is: "Your Lumivale is ready." or why it is not.
  QString stateLine() const { return state_->text(); }

 signals:
  void openWindow();
  void quit();

 private:
  // A submenu of steps over a 0-255 setting of the catalogue, titled with its value.
  QMenu* levelMenu(const std::string& id);
  void showTablet();
  void showLevel(const std::string& id);
  void showProfiles();
  void showClipboard();
  void showReadingFolder();

  AppParts& parts_;
  QAction* state_;
  std::map<std::string, QMenu*> levels_;
  QAction* sharing_;
  QAction* sharingLine_;
  QAction* sync_;
  QAction* syncResult_;
  QList<QAction*> profileActions_;
  QAction* restore_;
  QAction* activeProfile_;
};

}  // namespace lumivale::app
