#include "app/desk/profiles_controller.h"

#include <chrono>

#include "core/device-settings/desk_profile.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

ProfilesController::ProfilesController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {
  connect(&tracker_, &TabletTracker::changed, this, &ProfilesController::follow);
  follow();
}

void ProfilesController::follow() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) {
    readFrom_.reset();
    if (active_) {
      active_.reset();
      emit statusChanged();
    }
    return;
  }
  if (readFrom_ != view.tablet) readStatus();
}

void ProfilesController::readStatus() {
  const TabletView& view = tracker_.view();
  if (!view.ready() || !view.tablet) return;
  readFrom_ = view.tablet;
  using Record = std::optional<ProfileRecord>;
  work_.run<Record>(
      [tablet = *view.tablet](const StopToken&) {
        return ProfileRecordStore::standard().load(tablet);
      },
      [this](Record record) {
        active_ = std::move(record);
        emit statusChanged();
      },
      [this](const std::string& message) { emit failed(QString::fromStdString(message)); });
}

void ProfilesController::apply(const QString& name) {
  const DeskProfile* profile = nullptr;
  try {
    profile = &DeskProfiles::named(name.toStdString());
  } catch (const ProfileError& unknown) {
    emit failed(QString::fromStdString(unknown.message()));
    return;
  }
  change([profile](AdbRunner& runner, const std::string& serial, const std::string& tablet) {
    return ProfileRun::apply(*profile, runner, serial, tablet, ProfileRecordStore::standard(),
                             std::chrono::system_clock::now());
  });
}

void ProfilesController::restore() {
  change([](AdbRunner& runner, const std::string& serial, const std::string& tablet) {
    return ProfileRun::restore(runner, serial, tablet, ProfileRecordStore::standard());
  });
}

void ProfilesController::change(Run run) {
  const TabletView& view = tracker_.view();
  if (!view.ready() || !view.tablet) {
    emit failed(QString::fromStdString(view.refusal.value_or("")));
    return;
  }
  busy_ = true;
  emit statusChanged();
  struct Done {
    ProfileOutcome outcome;
    std::optional<ProfileRecord> record;
  };
  work_.run<Done>(
      [bridge = tracker_.bridge(), serial = *view.serial, tablet = *view.tablet,
       run = std::move(run)](const StopToken& stop) {
        StoppedAdbRunner runner(*bridge, stop);
        ProfileOutcome outcome = run(runner, serial, tablet);
        return Done{std::move(outcome), ProfileRecordStore::standard().load(tablet)};
      },
      [this](Done done) {
        busy_ = false;
        outcome_ = std::move(done.outcome);
        active_ = std::move(done.record);
        emit statusChanged();
        emit finished();
      },
      [this](const std::string& message) {
        busy_ = false;
        emit statusChanged();
        emit failed(QString::fromStdString(message));
      });
}

}  // namespace lumivale::app
