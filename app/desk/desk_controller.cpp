#include "app/desk/desk_controller.h"

#include "core/device-settings/device_settings.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

DeskController::DeskController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {
  for (const DeviceSetting& setting : DeviceSettings::all()) {
    DeskSetting& shown = settings_[setting.id];
    if (auto* choice = std::get_if<DeviceSetting::Choice>(&setting.kind))
      shown.choices = choice->choices;
  }
  connect(&tracker_, &TabletTracker::changed, this, &DeskController::follow);
  follow();
}

const DeskSetting& DeskController::setting(const std::string& id) const {
  return settings_.at(id);
}

void DeskController::follow() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) {
    readFrom_.reset();
    return;
  }
  if (readFrom_ != view.serial) readAll();
}

void DeskController::readAll() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return;
  readFrom_ = view.serial;
  using Read = std::map<std::string, DeskSetting>;
  work_.run<Read>(
      [bridge = tracker_.bridge(), serial = *view.serial](const StopToken& stop) {
        StoppedAdbRunner runner(*bridge, stop);
        Read read;
        for (SettingReading& reading : DeviceSettings::readAll(runner, serial)) {
          DeskSetting& shown = read[reading.id];
          shown.value = std::move(reading.value);
          shown.error = std::move(reading.error);
          shown.read = true;
          const DeviceSetting& setting = DeviceSettings::settingNamed(reading.id);
          // Installed components are choices only this tablet can list.
          if (!std::holds_alternative<DeviceSetting::InstalledComponents>(setting.kind) ||
              setting.tier.reason())
            continue;
          try {
            shown.choices = setting.choices(runner, serial);
          } catch (const Error& error) {
            shown.error = error.message();
          }
        }
        return read;
      },
      [this](Read read) {
        for (auto& [id, shown] : read) {
          DeskSetting& kept = settings_[id];
          kept.value = std::move(shown.value);
          kept.error = std::move(shown.error);
          kept.read = true;
          if (!shown.choices.empty()) kept.choices = std::move(shown.choices);
        }
        emit settingsRead();
      },
      [this](const std::string&) {
        // The whole read failed (the tablet went away): the next look reads again.
        readFrom_.reset();
      });
}

void DeskController::set(const std::string& id, const SettingValue& value) {
  change(id, [id, value](AdbRunner& runner, const std::string& serial) {
    return DeviceSettings::settingNamed(id).write(value, runner, serial);
  });
}

void DeskController::reset(const std::string& id) {
  change(id, [id](AdbRunner& runner, const std::string& serial) {
    const DeviceSetting& setting = DeviceSettings::settingNamed(id);
    setting.reset(runner, serial);
    return setting.read(runner, serial);
  });
}

void DeskController::change(
    const std::string& id,
    std::function<std::optional<SettingValue>(AdbRunner&, const std::string&)> change) {
  const TabletView& view = tracker_.view();
  if (!view.ready()) {
    settings_[id].error = view.refusal;
    emit settingChanged(QString::fromStdString(id));
    return;
  }
  using After = std::optional<SettingValue>;
  work_.run<After>(
      [bridge = tracker_.bridge(), serial = *view.serial, change](const StopToken& stop) {
        StoppedAdbRunner runner(*bridge, stop);
        return change(runner, serial);
      },
      [this, id](After after) {
        DeskSetting& shown = settings_[id];
        shown.value = std::move(after);
        shown.error.reset();
        emit settingChanged(QString::fromStdString(id));
      },
      [this, id](const std::string& message) {
        settings_[id].error = message;
        emit settingChanged(QString::fromStdString(id));
      });
}

}  // namespace lumivale::app
