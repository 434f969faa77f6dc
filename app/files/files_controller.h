#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "app/shell/tablet_tracker.h"
#include "core/files/adb_files.h"
#include "core/files/remote_entry.h"
#include "core/files/remote_path.h"
#include "core/files/remote_sort.h"
#include "core/files/transfer.h"

namespace lumivale::app {

// A folder of the tablet's shared storage and the work on it: listing, copying both
// ways, renaming, new folders and deleting. Copies run on a worker of their own, so the
// listing stays usable meanwhile, and can be cancelled.
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

  void open(const std::string& folder);
  void refresh();
  void showHidden(bool shown);
  void sortBy(RemoteSort::Key key, bool ascending);

  // Copies `local` into the folder shown. With `ask`, a taken name is reported by
  // `nameTaken` and nothing is copied, so the question can be put and the push made again.
  void push(const std::filesystem::path& local, CollisionPolicy collision);
  // Copies the item at `path` to `destination`, which the user chose (and agreed to
  // replace, when it was taken).
  void pull(const std::string& path, const std::filesystem::path& destination);
  void cancelTransfer();

  void rename(const std::string& path, const std::string& newName);
  void makeFolder(const std::string& name);
  void remove(const std::string& path);

 signals:
  void listed();
  void failed(const QString& message);
  void nameTaken(const QString& local, const QString& taken);
  void transferStarted();
  void transferProgressed();
  // `outcome`: what happened, said for the user ("Copied report.pdf.", "cancelled").
  void transferEnded(const QString& outcome);

 private:
  enum class Ended { done, cancelled, taken };
  struct TransferEnd {
    Ended ended = Ended::done;
    std::string said;
  };
  void follow();
  void fail(const std::string& message);
  void sortEntries();
  // Runs one change on the tablet, then lists the folder again.
  void change(std::function<void(AdbFiles&)> body);
  void transfer(std::function<std::string(AdbFiles&, TransferObserver&)> body,
                std::filesystem::path local);

  TabletTracker& tracker_;
  std::string folder_{RemotePath::root};
  std::vector<RemoteEntry> entries_;
  bool showsHidden_ = false;
  RemoteSort::Key sortKey_ = RemoteSort::Key::name;
  bool ascending_ = true;
  std::optional<StopToken> transfer_;  // the copy under way, to cancel it
  TransferProgress progress_;
  BackgroundWork transfers_{this};
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
