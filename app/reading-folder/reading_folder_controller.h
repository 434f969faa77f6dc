#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "companion/app_settings.h"
#include "core/files/reading-folder/reading_folder_plan.h"
#include "core/files/reading-folder/reading_folder_sync.h"
#include "core/files/reading-folder/reading_folder_watch.h"

namespace lumivale::app {

// The Reading folder: the folder chosen (kept in the app's settings, shared with the
// command line), the plan of the next sync, a sync run with its progress and Cancel, and
// the last run's summary. The plan is made again whenever the choice changes, a run ends
// or the tablet becomes ready. Runs go on a worker of their own, so the choice and the
// plan stay usable meanwhile. When watching is on, a watch keeps the tablet synced by
// itself on a third worker, started again for each new choice.
class ReadingFolderController : public QObject {
  Q_OBJECT

 public:
  explicit ReadingFolderController(TabletTracker& tracker, QObject* parent = nullptr);

  // The choice as last read or written: folder, tablet folder, removal.
  const companion::AppSettings& choice() const { return choice_; }
  // The tablet folder chosen, or the standard one.
  std::string tabletFolder() const;
  // The plan of the next sync, once made for the choice as it stands.
  const std::optional<ReadingFolderPlan>& plan() const { return plan_; }
  bool syncing() const { return sync_.has_value(); }
  const ReadingFolderSyncEvent& progress() const { return progress_; }
  // What the last run in this app did; absent before one ended.
  const std::optional<ReadingFolderSummary>& lastSummary() const { return lastSummary_; }
  // The last run's result on one line: its summary, "cancelled" or why it stopped.
  const QString& lastResult() const { return lastResult_; }
  // A watch is under way (watching is on and a tablet was ready to start it).
  bool watching() const { return watch_.has_value(); }
  // A run of the watch is under way; Sync now would only find the folder taken.
  bool watchSyncing() const { return watchSyncing_; }

 public slots:
  // Reads the choice kept in the settings (the command line may have changed it).
  void load();
  // A folder of this computer; refused with the sentence of the rule it breaks.
  void chooseFolder(const QString& folder);
  // Where it goes on the tablet; refused when hidden or the whole shared storage.
  void chooseTabletFolder(const QString& folder);
  void setRemoveDeleted(bool removed);
  void setWatched(bool watched);
  void makePlan();
  void syncNow();
  void cancel();

 signals:
  void choiceChanged();
  void planned();
  void syncStarted();
  void syncProgressed();
  // The run ended: lastResult() says how, lastSummary() what it did when it finished.
  void syncEnded();
  void failed(const QString& message);
  // A watch started or stopped, or told what it did: lastResult() says it.
  void watchChanged();

 private:
  // What a finished run reports: its summary, or how it ended without one.
  struct RunEnd {
    std::optional<ReadingFolderSummary> summary;
    std::string said;
  };
  void follow();
  void fail(const std::string& message);
  void change(std::function<void(companion::AppSettings&)> body);
  void chosen(companion::AppSettings settings);
  void watchAsChosen();
  void startWatch();
  void stopWatch();
  void watchTold(const ReadingFolderWatchEvent& event);
  // The tablet's own serial and the connection to use, when it is ready.
  std::optional<std::pair<std::string, std::string>> readyTablet() const;

  TabletTracker& tracker_;
  companion::AppSettings choice_;
  std::optional<ReadingFolderPlan> plan_;
  std::uint64_t choiceGeneration_ = 0;  // which choice a plan was made for
  std::optional<StopToken> sync_;       // the run under way, to cancel it
  ReadingFolderSyncEvent progress_;
  std::optional<ReadingFolderSummary> lastSummary_;
  QString lastResult_;
  std::optional<StopToken> watch_;          // the watch under way, to stop it
  std::uint64_t watchGeneration_ = 0;       // which watch is the one under way
  std::optional<std::string> watchSerial_;  // the connection the latest watch started on
  bool watchFailed_ = false;                // and it failed: not started again by itself
  bool watchSyncing_ = false;
  BackgroundWork watches_{this};
  BackgroundWork runs_{this};
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
