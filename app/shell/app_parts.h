#pragma once

#include <memory>

#include <QObject>

#include "app/account/account_controller.h"
#include "app/clipboard/clipboard_controller.h"
#include "app/desk/desk_controller.h"
#include "app/desk/profiles_controller.h"
#include "app/devices/devices_controller.h"
#include "app/devices/wifi_reconnector.h"
#include "app/files/files_controller.h"
#include "app/reading-folder/reading_folder_controller.h"
#include "app/settings/settings_controller.h"
#include "app/shell/main_window.h"
#include "app/shell/tablet_tracker.h"

namespace lumivale::app {

// The app's long-lived pieces: the tablet tracker and one controller per feature, made
// once and kept for the program's run; the window is built on them.
class AppParts {
 public:
  AppParts();
  AppParts(const AppParts&) = delete;
  AppParts& operator=(const AppParts&) = delete;

  // Starts following the tablet and reads what the panes show first.
  void start();

  // The main window with a pane for each feature, in the sidebar's order.
  std::unique_ptr<MainWindow> makeWindow();

  TabletTracker tracker;
  DevicesController devices{tracker};
  DeskController desk{tracker};
  ProfilesController profiles{tracker};
  FilesController files{tracker};
  ReadingFolderController readingFolder{tracker};
  ClipboardController clipboard{tracker};
  WifiReconnector wifiReconnector{tracker};
  AccountController account;
  SettingsController settings;
};

}  // namespace lumivale::app
