#include "app/shell/app_parts.h"

#include <QLabel>

#include "app/account/account_pane.h"
#include "app/desk/desk_pane.h"
#include "app/devices/devices_pane.h"
#include "app/files/files_pane.h"
#include "app/settings/settings_pane.h"
#include "app/shell/tablet_gate.h"

namespace lumivale::app {
namespace {

// A pane this version of the app does not have yet, said as much.
QWidget* laterPane(const QString& what) {
  auto* label = new QLabel(QObject::tr("%1 is not in this version of the app yet; the lumivale "
                                       "command does it meanwhile.")
                               .arg(what));
  label->setWordWrap(true);
  label->setAlignment(Qt::AlignCenter);
  return label;
}

}  // namespace

AppParts::AppParts() {
  // A profile changes settings behind the Desk pane's back.
  QObject::connect(&profiles, &ProfilesController::finished, &desk, &DeskController::readAll);
}

void AppParts::start() {
  tracker.start();
  account.check();
  settings.look();
  clipboard.load();
  readingFolder.load();
}

std::unique_ptr<MainWindow> AppParts::makeWindow() {
  auto window = std::make_unique<MainWindow>(companion::AppSettingsStore::standard());
  window->addPane(QObject::tr("Devices"), new DevicesPane(devices));
  window->addPane(QObject::tr("Desk"), new TabletGate(tracker, new DeskPane(desk, profiles)));
  window->addPane(QObject::tr("Files"), new TabletGate(tracker, new FilesPane(files)));
  window->addPane(QObject::tr("Reading folder"), laterPane(QObject::tr("The Reading folder")));
  window->addPane(QObject::tr("Clipboard"), laterPane(QObject::tr("The shared clipboard")));
  window->addPane(QObject::tr("Account"), new AccountPane(account));
  window->addPane(QObject::tr("Settings"), new SettingsPane(settings));
  QObject::connect(&clipboard, &ClipboardController::statusChanged, window.get(),
                   [window = window.get()](const QString&, const QString& sidebar) {
                     window->setPaneNote(QObject::tr("Clipboard"), sidebar);
                   });
  window->setPaneNote(QObject::tr("Clipboard"), clipboard.sidebarText());
  window->restore();
  return window;
}

}  // namespace lumivale::app
