#include "app/shell/tray_item.h"

#include "app/shell/app_icon.h"

namespace lumivale::app {

TrayItem::TrayItem(AppParts& parts, QObject* parent)
    : QObject(parent), menu_(std::make_unique<TrayMenu>(parts)) {
  connect(menu_.get(), &TrayMenu::openWindow, this, &TrayItem::openWindow);
  connect(menu_.get(), &TrayMenu::quit, this, &TrayItem::quit);
  connect(&host_, &TrayHostWatch::changed, this, &TrayItem::follow);
  follow(host_.present());
}

void TrayItem::follow(bool hostPresent) {
  if (hostPresent == shown()) return;
  if (!hostPresent) {
    icon_.reset();
    emit shownChanged(false);
    return;
  }
  icon_ = std::make_unique<QSystemTrayIcon>(appIcon());
  icon_->setToolTip(tr("Lumivale"));
  icon_->setContextMenu(menu_.get());
  connect(icon_.get(), &QSystemTrayIcon::activated, this,
          [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
              emit openWindow();
          });
  icon_->show();
  emit shownChanged(true);
}

}  // namespace lumivale::app
