#pragma once

#include <optional>
#include <string>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/tablet/adb_locate.h"

namespace lumivale::app {

// The first run: find adb (or get Google's tools, once the user agrees to their terms),
// then follow the tablet until it is connected and allowed.
class WelcomeController : public QObject {
  Q_OBJECT

 public:
  enum class Step {
    findingAdb,
    noAdb,            // missing() says why and how to get it
    gettingTools,     // Google's tools on their way; progress() says how far
    connectTablet,    // tabletLine() says what to do
    waitingForAllow,  // tabletLine() says to tap Allow on the tablet
    ready,
  };

  // Whether to welcome: never seen to its end, and no tablet chosen (by the app or
  // the command line). Settings that cannot be read are no first run.
  static bool needed();

  explicit WelcomeController(TabletTracker& tracker, QObject* parent = nullptr);

  Step step() const { return step_; }
  // The adb that will be used, once found.
  const std::optional<AdbCandidateLook>& adb() const { return adb_; }
  const std::string& missing() const { return missing_; }
  // From 0 to 1 while the tools come, when their size is known.
  std::optional<double> progress() const { return progress_; }
  // The tablet's state as a sentence for a person.
  std::string tabletLine() const;

 public slots:
  void start();
  // Downloads Google's platform tools into the settings folder; the user has agreed to
  // Google's terms.
  void getTools();
  // Remembers that the welcome was seen to its end.
  void finish();

 signals:
  void stepChanged();
  void progressChanged();
  void failed(const QString& message);
  void finished();

 private:
  void found(std::vector<AdbCandidateLook> looks);
  void followTablet();
  void setStep(Step step);

  TabletTracker& tracker_;
  Step step_ = Step::findingAdb;
  std::optional<AdbCandidateLook> adb_;
  std::string missing_;
  std::optional<double> progress_;
  bool following_ = false;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
