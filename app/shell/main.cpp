// lumivale-app: the desktop companion's window and tray item.
#include <QApplication>
#include <QCommandLineParser>

#include "app/shell/app_parts.h"
#include "app/shell/app_shell.h"
#include "app/shell/first_paint_marker.h"
#include "core/build_flavour.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("Lumivale");
  QApplication::setApplicationVersion(lumivale::programVersion);
  QCommandLineParser options;
  options.setApplicationDescription("The Lumivale desktop companion.");
  options.addHelpOption();
  options.addVersionOption();
  QCommandLineOption minimized("minimized", "Start in the tray, when the desktop has one.");
  options.addOption(minimized);
  options.process(application);

  lumivale::app::AppParts parts;
  lumivale::app::AppShell shell(parts);
  lumivale::app::markFirstPaint(shell.window());
  shell.start(options.isSet(minimized));
  return QApplication::exec();
}
