#include "app/shell/app_icon.h"

#include <QPainter>
#include <QPixmap>

namespace lumivale::app {

QIcon appIcon() {
  QIcon icon;
  for (int size : {16, 22, 24, 32, 48, 64, 128}) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal unit = size / 16.0;
    QRectF body(2.5 * unit, 0.5 * unit, 11 * unit, 15 * unit);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0x33, 0x33, 0x33));
    painter.drawRoundedRect(body, 2 * unit, 2 * unit);
    painter.setBrush(QColor(0xf4, 0xe9, 0xd2));
    painter.drawRect(body.adjusted(1.5 * unit, 1.5 * unit, -1.5 * unit, -2.5 * unit));
    icon.addPixmap(pixmap);
  }
  return icon;
}

}  // namespace lumivale::app
