#include "app/shell/tray_menu.h"

#include <QActionGroup>

#include "app/shell/shown_text.h"
#include "companion/profile_words.h"
#include "core/device-settings/desk_profile.h"
#include "core/device-settings/device_settings.h"

namespace lumivale::app {
namespace {

// Steps a menu can offer over a level (a tray menu has no sliders on every desktop).
constexpr int levelSteps[] = {0, 64, 128, 192, 255};

}  // namespace

TrayMenu::TrayMenu(AppParts& parts, QWidget* parent) : QMenu(parent), parts_(parts) {
  state_ = addAction(QString());
  state_->setEnabled(false);
  levelMenu("warmth");
  levelMenu("brightness");

  addSeparator();
  sharing_ = addAction(tr("Share the clipboard"));
  sharing_->setCheckable(true);
  connect(sharing_, &QAction::triggered, &parts_.clipboard, &ClipboardController::setSharing);
  sharingLine_ = addAction(QString());
  sharingLine_->setEnabled(false);
  sync_ = addAction(tr("Sync the Reading folder now"));
  connect(sync_, &QAction::triggered, &parts_.readingFolder, &ReadingFolderController::syncNow);
  syncResult_ = addAction(QString());
  syncResult_->setEnabled(false);

  addSeparator();
  for (const DeskProfile& profile : DeskProfiles::all()) {
    QAction* action = addAction(qText(profile.title));
    connect(action, &QAction::triggered, &parts_.profiles,
            [this, name = qText(profile.name)] { parts_.profiles.apply(name); });
    profileActions_ << action;
  }
  restore_ = addAction(tr("Restore settings"));
  connect(restore_, &QAction::triggered, &parts_.profiles, &ProfilesController::restore);
  activeProfile_ = addAction(QString());
  activeProfile_->setEnabled(false);

  addSeparator();
  connect(addAction(tr("Open Lumivale")), &QAction::triggered, this, &TrayMenu::openWindow);
  connect(addAction(tr("Quit Lumivale")), &QAction::triggered, this, &TrayMenu::quit);

  connect(&parts_.tracker, &TabletTracker::changed, this, &TrayMenu::showTablet);
  connect(&parts_.desk, &DeskController::settingsRead, this, &TrayMenu::showTablet);
  connect(&parts_.desk, &DeskController::settingChanged, this,
          [this](const QString& id) { showLevel(id.toStdString()); });
  connect(&parts_.profiles, &ProfilesController::statusChanged, this, &TrayMenu::showProfiles);
  connect(&parts_.clipboard, &ClipboardController::sharingChanged, this, &TrayMenu::showClipboard);
  connect(&parts_.clipboard, &ClipboardController::statusChanged, this, &TrayMenu::showClipboard);
  for (auto changed :
       {&ReadingFolderController::choiceChanged, &ReadingFolderController::syncStarted,
        &ReadingFolderController::syncEnded, &ReadingFolderController::watchChanged})
    connect(&parts_.readingFolder, changed, this, &TrayMenu::showReadingFolder);
  showClipboard();
  showTablet();
}

QMenu* TrayMenu::levelMenu(const std::string& id) {
  QMenu* menu = addMenu(QString());
  auto* steps = new QActionGroup(menu);
  for (int step : levelSteps) {
    QAction* action = menu->addAction(QString::number(step));
    action->setCheckable(true);
    action->setData(step);
    steps->addAction(action);
    connect(action, &QAction::triggered, &parts_.desk,
            [this, id, step] { parts_.desk.set(id, SettingValue::level(step)); });
  }
  levels_[id] = menu;
  return menu;
}

void TrayMenu::showTablet() {
  state_->setText(qText(parts_.tracker.view().stateLine()));
  for (const auto& [id, menu] : levels_)
    showLevel(id);
  showProfiles();
  showReadingFolder();
}

void TrayMenu::showLevel(const std::string& id) {
  auto found = levels_.find(id);
  if (found == levels_.end()) return;
  QMenu* menu = found->second;
  const DeviceSetting& setting = DeviceSettings::settingNamed(id);
  const DeskSetting& shown = parts_.desk.setting(id);
  const bool known = parts_.tracker.view().ready() && shown.read;
  menu->setTitle(known ? qText(setting.title + ": " + setting.display(shown.value))
                       : qText(setting.title));
  menu->setEnabled(known);
  const std::optional<int> level = shown.value ? shown.value->asLevel() : std::nullopt;
  for (QAction* action : menu->actions())
    action->setChecked(known && level == action->data().toInt());
}

void TrayMenu::showClipboard() {
  sharing_->setChecked(parts_.clipboard.sharing());
  sharingLine_->setText(parts_.clipboard.statusLine());
}

void TrayMenu::showReadingFolder() {
  const ReadingFolderController& folder = parts_.readingFolder;
  const bool syncing = folder.syncing();
  sync_->setEnabled(parts_.tracker.view().ready() && !syncing && !folder.watchSyncing() &&
                    folder.choice().readingFolderPath.has_value());
  syncResult_->setText(syncing ? tr("Syncing the Reading folder…") : folder.lastResult());
  syncResult_->setVisible(!syncResult_->text().isEmpty());
}

void TrayMenu::showProfiles() {
  const bool ready = parts_.tracker.view().ready();
  const bool busy = parts_.profiles.busy();
  for (QAction* action : profileActions_)
    action->setEnabled(ready && !busy);
  restore_->setEnabled(ready && !busy && parts_.profiles.active().has_value());
  activeProfile_->setText(qText(companion::activeText(parts_.profiles.active())));
  activeProfile_->setVisible(ready);
}

}  // namespace lumivale::app
