#include "app/shell/first_paint_marker.h"

#include <cstdio>

#include <QEvent>
#include <QTimer>

#include "core/settings/environment.h"

namespace lumivale::app {
namespace {

class FirstPaintMarker : public QObject {
 public:
  explicit FirstPaintMarker(QWidget& window) : QObject(&window) { window.installEventFilter(this); }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::Paint) return false;
    watched->removeEventFilter(this);
    // The whole window is drawn within this one round of painting; say so after it.
    QTimer::singleShot(0, [] {
      std::fputs("first paint\n", stdout);
      std::fflush(stdout);
    });
    deleteLater();
    return false;
  }
};

}  // namespace

void markFirstPaint(QWidget& window) {
  if (environmentValue("LUMIVALE_MARK_FIRST_PAINT")) new FirstPaintMarker(window);
}

}  // namespace lumivale::app
