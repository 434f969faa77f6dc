#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/device-settings/device_setting.h"

namespace lumivale::app {

// One setting of the catalogue as the pane shows it.
struct DeskSetting {
  std::optional<SettingValue> value;  // as read back from the tablet; none when unset
  std::optional<std::string> error;   // the latest failure on it, as it stands
  std::vector<SettingChoice> choices;
  bool read = false;  // the tablet has been asked
};

// The tablet's settings: read all at once when the tablet becomes ready, written one at
// a time, each write answered with the value read back or the setting's own error.
class DeskController : public QObject {
  Q_OBJECT

 public:
  explicit DeskController(TabletTracker& tracker, QObject* parent = nullptr);

  TabletTracker& tracker() { return tracker_; }
  // What is known of the setting `id` (of the catalogue).
  const DeskSetting& setting(const std::string& id) const;

 public slots:
  void readAll();

 public:
  void set(const std::string& id, const SettingValue& value);
  void reset(const std::string& id);

 signals:
  void settingsRead();
  void settingChanged(const QString& id);

 private:
  void follow();
  // Runs `change` for one setting and shows the value it leaves, or its failure.
  void change(const std::string& id,
              std::function<std::optional<SettingValue>(AdbRunner&, const std::string&)> change);

  TabletTracker& tracker_;
  std::optional<std::string> readFrom_;  // the serial the settings were read from
  std::map<std::string, DeskSetting> settings_;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
