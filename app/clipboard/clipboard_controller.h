#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/clipboard/clip_transfer.h"
#include "core/clipboard/clipboard_history.h"
#include "core/clipboard/clipboard_history_copy.h"
#include "core/clipboard/shared_clipboard_event.h"

namespace lumivale::app {

class ClipboardLink;

// The shared clipboard and its history. The switch is kept in the app's settings: while it
// is on the link runs whenever the tablet is ready, and starts again by itself when the
// tablet comes back after the link gave up. Every copy that goes across is recorded in the
// history, which is kept in its file while "Keep after quitting" is on, and only in memory
// until the app quits while it is off.
class ClipboardController : public QObject {
  Q_OBJECT

 public:
  explicit ClipboardController(TabletTracker& tracker, QObject* parent = nullptr);
  ~ClipboardController() override;

  // The switch: whether the clipboard is to be shared.
  bool sharing() const { return wanted_; }
  // The line beside the switch ("On over USB · last copy ...", "Off", ...).
  QString statusLine() const;
  // "Sharing · starting" or "Sharing · waiting" for the sidebar, else empty.
  QString sidebarText() const;

  // The history's rows, newest first.
  const std::vector<ClipboardHistory::Item>& history() const { return history_; }
  // Whether the history is kept after quitting.
  bool kept() const { return kept_; }
  // Why the saved history could not be read, while it cannot; the list then starts empty.
  const QString& historyProblem() const { return problem_; }

 public slots:
  // Reads the switch, the keep setting and the saved history.
  void load();
  void startSharing();
  void stopSharing();
  void setSharing(bool on);
  // Copies a row's text again to the computer, the tablet or both; the row stays put.
  void copy(const std::string& id, lumivale::CopyDestination destination);
  void remove(const std::string& id);
  // Empties the history and deletes its file.
  void clear();
  // Off deletes the file at once; the rows stay until the app quits.
  void setKept(bool kept);

 signals:
  void sharingChanged(bool on);
  void statusChanged(const QString& line, const QString& sidebar);
  void historyChanged();
  // A row was copied: where to, in words.
  void copied(const QString& outcome);
  void failed(const QString& message);

 private:
  struct Listed {
    std::vector<ClipboardHistory::Item> items;
    bool kept = true;
    std::optional<std::string> problem;
  };
  void follow();
  void fail(const std::string& message);
  void showStatus();
  void wantSharing(bool on);
  void startLink();
  // Lets the link go: it is stopped on a worker, and its events are no longer shown.
  void retire();
  void linkEvent(std::uint64_t generation, const SharedClipboardEvent& event);
  void linkFailed(std::uint64_t generation, const std::string& message);
  void record(const ClipTransfer& transfer);
  // Applies `body` to the list (kept in its file, or in memory), then shows it.
  void change(std::function<bool(ClipboardHistory&)> body);
  void listed(Listed listed);

  TabletTracker& tracker_;
  bool wanted_ = false;
  std::uint64_t choices_ = 0;  // switch changes made here
  // The link now, and whether it gave up; each link has its generation, so that events
  // of a link already let go change nothing.
  std::shared_ptr<ClipboardLink> link_;
  bool linkEnded_ = false;
  bool paused_ = false;                                 // the link found unencrypted Wi-Fi
  std::vector<std::shared_ptr<ClipboardLink>> ending_;  // let go, still stopping
  std::uint64_t generation_ = 0;
  std::unique_ptr<ClipStatusLine> line_;
  std::vector<ClipboardHistory::Item> history_;
  bool kept_ = true;
  QString problem_;
  // The list while it is not kept; touched on the history's worker alone.
  std::shared_ptr<ClipboardHistory> memory_ = std::make_shared<ClipboardHistory>();
  BackgroundWork stops_{this};
  BackgroundWork links_{this};
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
