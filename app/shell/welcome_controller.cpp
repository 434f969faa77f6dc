#include "app/shell/welcome_controller.h"

#include <QMetaObject>

#include "companion/app_settings_store.h"
#include "companion/tablet_link.h"
#include "core/error.h"
#include "core/observer.h"
#include "core/settings/config_store.h"
#include "core/settings/log.h"
#include "core/tablet/tools/android_tools.h"

namespace lumivale::app {

bool WelcomeController::needed() {
  try {
    return !companion::AppSettingsStore::standard().load().welcomed &&
           !ConfigStore::load().deviceSerial;
  } catch (const Error& error) {
    // Damaged settings are not a first run; the panes say what is wrong with them.
    logWarning("no welcome: {}", error.message());
    return false;
  }
}

WelcomeController::WelcomeController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {}

std::string WelcomeController::tabletLine() const {
  return tracker_.view().stateLine();
}

void WelcomeController::start() {
  adb_.reset();
  setStep(Step::findingAdb);
  using Looks = std::vector<AdbCandidateLook>;
  work_.run<Looks>(
      [](const StopToken& stop) {
        AdbSearch search = companion::adbSearch();
        search.stop = &stop;
        // Each candidate is asked its version: a run of its own.
        return AdbLocate::unusableReasons(search);
      },
      [this](Looks looks) { found(std::move(looks)); },
      [this](const std::string& message) { emit failed(QString::fromStdString(message)); });
}

void WelcomeController::found(std::vector<AdbCandidateLook> looks) {
  for (AdbCandidateLook& look : looks) {
    if (look.problem) continue;
    adb_ = std::move(look);
    followTablet();
    return;
  }
  missing_ = AdbLocate::missingMessage(looks);
  setStep(Step::noAdb);
}

void WelcomeController::getTools() {
  adb_.reset();
  progress_.reset();
  setStep(Step::gettingTools);
  work_.run(
      [this](const StopToken& stop) {
        ObserverFunction<TransferProgress> progress([this](const TransferProgress& now) {
          QMetaObject::invokeMethod(this, [this, fraction = now.fraction()] {
            progress_ = fraction;
            emit progressChanged();
          });
        });
        AndroidTools::install(companion::toolsInstallOptions(), &progress, stop);
      },
      [this] {
        // Without adb the tablet could not be followed: it is through the new one now.
        if (!tracker_.bridge()) tracker_.start();
        start();
      },
      [this](const std::string& message) {
        setStep(Step::noAdb);
        emit failed(QString::fromStdString(message));
      });
}

void WelcomeController::followTablet() {
  // The tablet's steps come only once there is an adb to reach it through.
  if (!adb_) return;
  if (!following_) {
    following_ = true;
    connect(&tracker_, &TabletTracker::changed, this, &WelcomeController::followTablet);
  }
  switch (tracker_.view().state) {
    case TabletState::ready:
      setStep(tracker_.view().ready() ? Step::ready : Step::connectTablet);
      return;
    case TabletState::waitingForApproval:
      setStep(Step::waitingForAllow);
      return;
    default:
      setStep(Step::connectTablet);
  }
}

void WelcomeController::finish() {
  try {
    companion::AppSettingsStore::standard().update(
        [](companion::AppSettings& settings) { settings.welcomed = true; });
  } catch (const Error& error) {
    emit failed(QString::fromStdString(error.message()));
  }
  emit finished();
}

void WelcomeController::setStep(Step step) {
  step_ = step;
  emit stepChanged();
}

}  // namespace lumivale::app
