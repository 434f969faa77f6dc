#pragma once

#include <optional>
#include <string>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/device-settings/profile_record.h"
#include "core/device-settings/profile_run.h"

namespace lumivale::app {

// The leave-the-desk profiles on the ready tablet: which one is active, applying one and
// restoring what it changed. The Desk pane and the tray both drive this one.
class ProfilesController : public QObject {
  Q_OBJECT

 public:
  explicit ProfilesController(TabletTracker& tracker, QObject* parent = nullptr);

  // The active profile's record on the ready tablet; none when no profile is active.
  const std::optional<ProfileRecord>& active() const { return active_; }
  // What the latest apply or restore did, setting by setting.
  const std::optional<ProfileOutcome>& outcome() const { return outcome_; }
  bool busy() const { return busy_; }

 public slots:
  // `name` as the profiles are named: "go-outside", "go-to-bed".
  void apply(const QString& name);
  void restore();
  void readStatus();

 signals:
  void statusChanged();
  // An apply or a restore ended; outcome() says how each setting went.
  void finished();
  void failed(const QString& message);

 private:
  void follow();
  using Run = std::function<ProfileOutcome(AdbRunner&, const std::string& serial,
                                           const std::string& tablet)>;
  // Runs an apply or a restore on the ready tablet, then reads the record again.
  void change(Run run);

  TabletTracker& tracker_;
  std::optional<std::string> readFrom_;  // the tablet the record was read for
  std::optional<ProfileRecord> active_;
  std::optional<ProfileOutcome> outcome_;
  bool busy_ = false;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
