// lumivale-app: the desktop companion's window.
#include <QApplication>

#include "app/shell/app_parts.h"
#include "app/shell/first_paint_marker.h"
#include "core/build_flavour.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("Lumivale");
  QApplication::setApplicationVersion(lumivale::programVersion);
  lumivale::app::AppParts parts;
  auto window = parts.makeWindow();
  lumivale::app::markFirstPaint(*window);
  window->show();
  parts.start();
  return QApplication::exec();
}
