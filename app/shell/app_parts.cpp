#include "app/shell/app_parts.h"

#include "app/account/account_pane.h"
#include "app/clipboard/clipboard_pane.h"
#include "app/desk/desk_pane.h"
#include "app/devices/devices_pane.h"
#include "app/files/files_pane.h"
#include "app/reading-folder/reading_folder_pane.h"
#include "app/settings/settings_pane.h"
#include "app/shell/tablet_gate.h"

namespace lumivale::app {

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
  window->addPane(QObject::tr("Reading folder"),
                  new TabletGate(tracker, new ReadingFolderPane(readingFolder)));
  window->addPane(QObject::tr("Clipboard"), new ClipboardPane(clipboard));
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
