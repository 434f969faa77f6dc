#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QImage>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include "app/files/thumbnail_loader.h"
#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/files/adb_files.h"
#include "core/files/leftover_plan.h"
#include "core/files/remote_entry.h"
#include "core/files/remote_path.h"
#include "core/files/remote_sort.h"
#include "core/files/transfer.h"

namespace lumivale::app {

// A folder of the tablet's shared storage and the work on it: listing with thumbnails,
// copying both ways, renaming, new folders, deleting, and cleaning up what unfinished
// work left. Copies run on a worker of their own, so the listing stays usable meanwhile,
// and can be cancelled.
class FilesController : public QObject {
  Q_OBJECT

 public:
  explicit FilesController(TabletTracker& tracker, QObject* parent = nullptr);

  TabletTracker& tracker() { return tracker_; }
  const std::string& folder() const { return folder_; }
  // The folder's items in the order chosen.
  const std::vector<RemoteEntry>& entries() const { return entries_; }
  std::vector<RemotePath::Crumb> crumbs() const;
  bool showsHidden() const { return showsHidden_; }
  RemoteSort::Key sortKey() const { return sortKey_; }
  bool ascending() const { return ascending_; }
  bool transferring() const { return transfer_.has_value(); }
  const TransferProgress& progress() const { return progress_; }
  // The remains of unfinished work in the folder, and how many of them clean-up would put
  // back or erase (the others are kept, each saying why).
  const std::vector<LeftoverItem>& leftovers() const { return leftovers_; }
  int cleanable() const { return cleanable_; }

  void open(const std::string& folder);
  void refresh();
  void showHidden(bool shown);
  void sortBy(RemoteSort::Key key, bool ascending);

  // Makes the thumbnails of `shown` (the items in view) that are not made yet.
  void wantThumbnails(const std::vector<RemoteEntry>& shown);
  // The thumbnail of `entry` once made; a null image when it has none.
  std::optional<QImage> thumbnail(const RemoteEntry& entry) const;

  // Copies each of `locals` into the folder shown, one after another. A taken name is
  // reported by `nameTaken`, and the copies after it wait for `answerTaken`.
  void pushFiles(const std::vector<std::filesystem::path>& locals);
  // The answer to `nameTaken`: copy with `collision` (replace or keep both), or leave that
  // file alone when absent; the copies waiting go on.
  void answerTaken(std::optional<CollisionPolicy> collision);
  // Copies the item at `path` to `destination`, which the user chose (and agreed to
  // replace, when it was taken).
  void pull(const std::string& path, const std::filesystem::path& destination);
  // Pulls `entry` into a folder of this run, under its own name, to be dragged out of the
  // window; `dragReady` names the copy. A file pulled before and unchanged is not pulled again.
  void prepareDrag(const RemoteEntry& entry);
  // Stops the copy under way, and drops the copies waiting after it.
  void cancelTransfer();

  void rename(const std::string& path, const std::string& newName);
  void makeFolder(const std::string& name);
  void remove(const std::string& path);
  // Puts the folder's leftovers back under their names, or erases them.
  void cleanUp();

 signals:
  void listed();
  void failed(const QString& message);
  void nameTaken(const QString& local, const QString& taken);
  void transferStarted();
  void transferProgressed();
  // `outcome`: what happened, said for the user ("Copied report.pdf to the tablet.",
  // "cancelled"); empty when there is nothing to say.
  void transferEnded(const QString& outcome);
  void thumbnailMade(const QString& path);
  void dragReady(const QString& local);
  // `outcome`: "2 leftovers erased, 1 put back."
  void cleanedUp(const QString& outcome);

 private:
  enum class Ended { done, cancelled, taken };
  struct TransferEnd {
    Ended ended = Ended::done;
    std::string said;
  };
  struct Listing {
    std::vector<RemoteEntry> entries;
    std::vector<LeftoverItem> leftovers;
    int cleanable = 0;
  };
  struct QueuedPush {
    std::filesystem::path local;
    std::string folder;
  };
  using TransferBody = std::function<std::string(AdbFiles&, TransferObserver&)>;

  void follow();
  void fail(const std::string& message);
  void sortEntries();
  // Runs one change on the tablet, then lists the folder again.
  void change(std::function<void(AdbFiles&)> body);
  // Runs one copy; `ended` hears how it ended once the copy is no longer under way.
  void transfer(TransferBody body, std::function<void(const TransferEnd&)> ended);
  void pushOne(QueuedPush push, CollisionPolicy collision);
  // Starts the next waiting copy, unless a copy or a question is under way.
  void pushNext();
  std::filesystem::path dragCopy(const std::string& serial, const RemoteEntry& entry);

  TabletTracker& tracker_;
  std::string folder_{RemotePath::root};
  std::vector<RemoteEntry> entries_;
  std::vector<LeftoverItem> leftovers_;
  int cleanable_ = 0;
  bool showsHidden_ = false;
  RemoteSort::Key sortKey_ = RemoteSort::Key::name;
  bool ascending_ = true;
  std::optional<StopToken> transfer_;  // the copy under way, to cancel it
  TransferProgress progress_;
  std::deque<QueuedPush> queued_;
  std::optional<QueuedPush> taken_;  // the copy waiting for the answer about its name
  std::unique_ptr<QTemporaryDir> dragFolder_;
  ThumbnailLoader thumbnails_;
  BackgroundWork transfers_{this};
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
