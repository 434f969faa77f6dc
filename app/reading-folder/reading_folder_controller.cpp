#include "app/reading-folder/reading_folder_controller.h"

#include <QDir>
#include <QMetaObject>

#include "companion/app_settings_store.h"
#include "companion/reading_folder_settings.h"
#include "companion/reading_folder_watching.h"
#include "core/cancelled.h"
#include "core/files/adb_files.h"
#include "core/files/reading-folder/folder_choice.h"
#include "core/files/remote_path.h"
#include "core/observer.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

ReadingFolderController::ReadingFolderController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {
  connect(&tracker_, &TabletTracker::changed, this, &ReadingFolderController::follow);
  load();
}

std::string ReadingFolderController::tabletFolder() const {
  return companion::readingFolderTabletFolder(choice_);
}

void ReadingFolderController::follow() {
  auto tablet = readyTablet();
  if (!tablet) return;
  makePlan();
  // A watch on a connection that went (the cable pulled, another tablet chosen) would
  // find the tablet away for ever: it starts again on the one in use now.
  if (watch_ && watchSerial_ != tablet->second) stopWatch();
  // A watch that failed fails again the same way until the choice changes.
  if (!watch_ && !(watchFailed_ && watchSerial_ == tablet->second)) watchAsChosen();
}

void ReadingFolderController::fail(const std::string& message) {
  emit failed(QString::fromStdString(message));
}

void ReadingFolderController::load() {
  work_.run<companion::AppSettings>(
      [](const StopToken&) { return companion::AppSettingsStore::standard().load(); },
      [this](companion::AppSettings settings) { chosen(std::move(settings)); },
      [this](const std::string& message) { fail(message); });
}

void ReadingFolderController::change(std::function<void(companion::AppSettings&)> body) {
  work_.run<companion::AppSettings>(
      [body](const StopToken&) { return companion::AppSettingsStore::standard().update(body); },
      [this](companion::AppSettings settings) { chosen(std::move(settings)); },
      [this](const std::string& message) { fail(message); });
}

void ReadingFolderController::chosen(companion::AppSettings settings) {
  const bool same = settings.readingFolderPath == choice_.readingFolderPath &&
                    settings.readingFolderTabletFolder == choice_.readingFolderTabletFolder &&
                    settings.readingFolderRemoveDeleted == choice_.readingFolderRemoveDeleted;
  const bool watchSame = same && settings.readingFolderWatched == choice_.readingFolderWatched;
  choice_ = std::move(settings);
  emit choiceChanged();
  if (!watchSame) {
    watchFailed_ = false;
    stopWatch();
    watchAsChosen();
  }
  if (!same || !plan_) {
    ++choiceGeneration_;
    plan_.reset();
    emit planned();
    follow();
  }
}

void ReadingFolderController::chooseFolder(const QString& folder) {
  change([folder = std::filesystem::path(folder.toStdString()),
          home = std::filesystem::path(QDir::homePath().toStdString())](auto& settings) {
    settings.readingFolderPath = ReadingFolderChoice::macFolder(folder, home);
  });
}

void ReadingFolderController::chooseTabletFolder(const QString& folder) {
  change([folder = folder.toStdString()](auto& settings) {
    settings.readingFolderTabletFolder =
        ReadingFolderChoice::tabletFolder(RemotePath::resolve(folder));
  });
}

void ReadingFolderController::setRemoveDeleted(bool removed) {
  change([removed](auto& settings) { settings.readingFolderRemoveDeleted = removed; });
}

void ReadingFolderController::setWatched(bool watched) {
  change([watched](auto& settings) { settings.readingFolderWatched = watched; });
}

void ReadingFolderController::watchAsChosen() {
  if (choice_.readingFolderWatched && choice_.readingFolderPath && readyTablet()) startWatch();
}

void ReadingFolderController::startWatch() {
  auto tablet = *readyTablet();
  watch_ = watches_.stop().child();
  watchSerial_ = tablet.second;
  watchFailed_ = false;
  const std::uint64_t generation = ++watchGeneration_;
  lastResult_ = tr("watching %1 for changes, and the tablet")
                    .arg(QString::fromStdString(choice_.readingFolderPath->string()));
  emit watchChanged();
  watches_.run(
      [this, bridge = tracker_.bridge(), tablet, choice = choice_, stop = *watch_,
       generation](const StopToken&) {
        ObserverFunction<ReadingFolderWatchEvent> told(
            [this, generation](const ReadingFolderWatchEvent& event) {
              QMetaObject::invokeMethod(
                  this,
                  [this, generation, event] {
                    // What a watch stopped since told is not this watch's.
                    if (generation == watchGeneration_) watchTold(event);
                  },
                  Qt::QueuedConnection);
            });
        companion::watchReadingFolder(*bridge, AdbFiles(*bridge, tablet.second),
                                      companion::readingFolderSyncOptions(choice, tablet.first),
                                      *choice.readingFolderPath, told, stop, [] {});
      },
      [] {},
      [this, generation](const std::string& message) {
        if (generation != watchGeneration_) return;
        watch_.reset();
        watchSyncing_ = false;
        watchFailed_ = true;
        lastResult_ = QString::fromStdString(message);
        emit watchChanged();
        fail(message);
      });
}

void ReadingFolderController::stopWatch() {
  if (!watch_) return;
  watch_->cancel();
  watch_.reset();
  watchSyncing_ = false;
  ++watchGeneration_;
  lastResult_ = tr("Watching stopped.");
  emit watchChanged();
}

void ReadingFolderController::watchTold(const ReadingFolderWatchEvent& event) {
  watchSyncing_ = event.kind == ReadingFolderWatchEvent::Kind::started;
  lastResult_ = QString::fromStdString(companion::watchEventLine(event));
  if (event.kind == ReadingFolderWatchEvent::Kind::finished) lastSummary_ = event.summary;
  emit watchChanged();
  if (event.kind == ReadingFolderWatchEvent::Kind::finished) makePlan();
}

std::optional<std::pair<std::string, std::string>> ReadingFolderController::readyTablet() const {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return std::nullopt;
  // The record is named by the tablet's own serial, the same over a cable and Wi-Fi.
  return std::pair{view.tablet.value_or(*view.serial), *view.serial};
}

void ReadingFolderController::makePlan() {
  // A run under way changes what the plan would be; it is made again when the run ends.
  if (!choice_.readingFolderPath || syncing()) return;
  auto tablet = readyTablet();
  if (!tablet) return fail(tracker_.view().refusal.value_or(""));
  work_.run<ReadingFolderPlan>(
      [bridge = tracker_.bridge(), tablet = *tablet, choice = choice_](const StopToken& stop) {
        AdbFiles files = AdbFiles(*bridge, tablet.second).stoppedBy(stop);
        return ReadingFolderSync::preview(
            files, companion::readingFolderSyncOptions(choice, tablet.first));
      },
      [this, generation = choiceGeneration_](ReadingFolderPlan plan) {
        // A plan made for an earlier choice is not this choice's.
        if (generation != choiceGeneration_) return;
        plan_ = std::move(plan);
        emit planned();
      },
      [this](const std::string& message) { fail(message); });
}

void ReadingFolderController::syncNow() {
  if (!choice_.readingFolderPath) return fail("No Reading folder is chosen yet: choose one first.");
  auto tablet = readyTablet();
  if (!tablet) return fail(tracker_.view().refusal.value_or(""));
  if (syncing()) return;
  sync_ = runs_.stop().child();
  progress_ = {};
  emit syncStarted();
  runs_.run<RunEnd>(
      [this, bridge = tracker_.bridge(), tablet = *tablet, choice = choice_,
       stop = *sync_](const StopToken&) {
        ObserverFunction<ReadingFolderSyncEvent> progress(
            [this](const ReadingFolderSyncEvent& now) {
              QMetaObject::invokeMethod(
                  this,
                  [this, now] {
                    progress_ = now;
                    emit syncProgressed();
                  },
                  Qt::QueuedConnection);
            });
        AdbFiles files = AdbFiles(*bridge, tablet.second).stoppedBy(stop);
        try {
          return RunEnd{
              ReadingFolderSync::run(
                  files, companion::readingFolderSyncOptions(choice, tablet.first), &progress),
              {}};
        } catch (const Cancelled& cancelled) {
          return RunEnd{std::nullopt, cancelled.message()};
        }
      },
      [this](RunEnd end) {
        sync_.reset();
        lastResult_ =
            QString::fromStdString(end.summary ? companion::summaryLine(*end.summary) : end.said);
        lastSummary_ = std::move(end.summary);
        emit syncEnded();
        makePlan();
      },
      [this](const std::string& message) {
        sync_.reset();
        lastResult_ = QString::fromStdString(message);
        lastSummary_.reset();
        emit syncEnded();
        fail(message);
        makePlan();
      });
}

void ReadingFolderController::cancel() {
  if (sync_) sync_->cancel();
}

}  // namespace lumivale::app
