#include "app/files/files_controller.h"

#include <QMetaObject>

#include "app/files/leftover_count.h"
#include "core/cancelled.h"
#include "core/observer.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

namespace fs = std::filesystem;

FilesController::FilesController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker), thumbnails_(RemoteFileCache::standard()) {
  connect(&tracker_, &TabletTracker::changed, this, &FilesController::follow);
  connect(&thumbnails_, &ThumbnailLoader::made, this, &FilesController::thumbnailMade);
  follow();
}

std::vector<RemotePath::Crumb> FilesController::crumbs() const {
  return RemotePath::crumbs(folder_, "Lumivale");
}

void FilesController::follow() {
  if (tracker_.view().ready())
    refresh();
  else
    thumbnails_.stop();
}

void FilesController::fail(const std::string& message) {
  emit failed(QString::fromStdString(message));
}

void FilesController::open(const std::string& folder) {
  if (folder != folder_) thumbnails_.stop();
  folder_ = folder;
  refresh();
}

void FilesController::refresh() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return;
  work_.run<Listing>(
      [bridge = tracker_.bridge(), serial = *view.serial, folder = folder_,
       hidden = showsHidden_](const StopToken& stop) {
        AdbFiles files = AdbFiles(*bridge, serial).stoppedBy(stop);
        // One listing, hidden items included, tells of the leftovers as well.
        StagingFolder staging = files.stagingFolder(RemotePath::resolve(folder));
        Listing listing{{}, LeftoverPlan::items(staging), 0};
        for (const CleanUpStep& step : LeftoverPlan::steps(staging))
          if (step.kind && step.does != CleanUpStep::Does::keep) ++listing.cleanable;
        listing.entries = std::move(staging.entries);
        std::erase_if(listing.entries, [&](const RemoteEntry& entry) {
          return !hidden && entry.name.starts_with('.');
        });
        return listing;
      },
      [this](Listing listing) {
        entries_ = std::move(listing.entries);
        leftovers_ = std::move(listing.leftovers);
        cleanable_ = listing.cleanable;
        sortEntries();
      },
      [this](const std::string& message) { fail(message); });
}

void FilesController::showHidden(bool shown) {
  showsHidden_ = shown;
  refresh();
}

void FilesController::sortBy(RemoteSort::Key key, bool ascending) {
  sortKey_ = key;
  ascending_ = ascending;
  sortEntries();
}

void FilesController::sortEntries() {
  entries_ = RemoteSort::sorted(std::move(entries_), sortKey_, ascending_, RemoteSort::kindName);
  emit listed();
}

void FilesController::wantThumbnails(const std::vector<RemoteEntry>& shown) {
  const TabletView& view = tracker_.view();
  if (view.ready()) thumbnails_.want(tracker_.bridge(), *view.serial, shown);
}

std::optional<QImage> FilesController::thumbnail(const RemoteEntry& entry) const {
  const TabletView& view = tracker_.view();
  if (!view.serial) return std::nullopt;
  return thumbnails_.thumbnail(*view.serial, entry);
}

void FilesController::change(std::function<void(AdbFiles&)> body) {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  work_.run(
      [bridge = tracker_.bridge(), serial = *view.serial, body](const StopToken& stop) {
        AdbFiles files = AdbFiles(*bridge, serial).stoppedBy(stop);
        body(files);
      },
      [this] { refresh(); },
      [this](const std::string& message) {
        fail(message);
        refresh();
      });
}

void FilesController::rename(const std::string& path, const std::string& newName) {
  change([path, newName](AdbFiles& files) { files.rename(path, newName); });
}

void FilesController::makeFolder(const std::string& name) {
  change([path = RemotePath::join(folder_, name)](AdbFiles& files) {
    files.makeDirectory(path, false);
  });
}

void FilesController::remove(const std::string& path) {
  change([path](AdbFiles& files) { files.remove(path); });
}

void FilesController::cleanUp() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  work_.run<AdbFiles::CleanUpReport>(
      [bridge = tracker_.bridge(), serial = *view.serial,
       folder = RemotePath::resolve(folder_)](const StopToken& stop) {
        return AdbFiles(*bridge, serial).stoppedBy(stop).cleanUp(folder);
      },
      [this](AdbFiles::CleanUpReport report) {
        int putBack = 0;
        for (const CleanUpStep& step : report.done)
          if (step.kind && step.does != CleanUpStep::Does::erase) ++putBack;
        const int erased = report.erased();
        emit cleanedUp(tr("%1 erased, %2 put back.").arg(leftoverCount(erased)).arg(putBack));
        if (!report.failures.empty()) fail(report.failures.front());
        refresh();
      },
      [this](const std::string& message) {
        fail(message);
        refresh();
      });
}

void FilesController::pushFiles(const std::vector<fs::path>& locals) {
  for (const fs::path& local : locals)
    queued_.push_back({local, folder_});
  pushNext();
}

void FilesController::pushNext() {
  if (transfer_ || taken_ || queued_.empty()) return;
  QueuedPush next = std::move(queued_.front());
  queued_.pop_front();
  pushOne(std::move(next), CollisionPolicy::ask);
}

void FilesController::answerTaken(std::optional<CollisionPolicy> collision) {
  if (!taken_) return;
  QueuedPush push = std::move(*taken_);
  taken_.reset();
  if (collision)
    pushOne(std::move(push), *collision);
  else
    pushNext();
}

void FilesController::pushOne(QueuedPush push, CollisionPolicy collision) {
  transfer(
      [push, collision](AdbFiles& files, TransferObserver& progress) {
        std::string placed =
            files.push(push.local, push.folder, std::nullopt, collision, &progress);
        return "Copied " + RemotePath::name(placed) + " to the tablet.";
      },
      [this, push](const TransferEnd& end) {
        if (end.ended != Ended::taken) return;
        taken_ = push;
        emit nameTaken(QString::fromStdString(push.local.string()),
                       QString::fromStdString(end.said));
      });
}

void FilesController::pull(const std::string& path, const fs::path& destination) {
  transfer(
      [path, destination](AdbFiles& files, TransferObserver& progress) {
        files.pull(path, destination, &progress, true);
        return "Saved " + destination.string() + ".";
      },
      [](const TransferEnd&) {});
}

fs::path FilesController::dragCopy(const std::string& serial, const RemoteEntry& entry) {
  if (!dragFolder_) dragFolder_ = std::make_unique<QTemporaryDir>();
  // By the file's cache key: a changed file is pulled again.
  return fs::path(dragFolder_->path().toStdString()) / RemoteFileCache::key(serial, entry) /
         RemotePath::macSafeName(entry.name);
}

void FilesController::prepareDrag(const RemoteEntry& entry) {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  const fs::path copy = dragCopy(*view.serial, entry);
  const QString local = QString::fromStdString(copy.string());
  std::error_code error;
  // A folder's size and date do not tell whether what is inside changed.
  if (!entry.isFolder() && fs::exists(copy, error)) return emit dragReady(local);
  fs::remove_all(copy, error);
  fs::create_directories(copy.parent_path(), error);
  transfer(
      [path = entry.path, copy](AdbFiles& files, TransferObserver& progress) {
        files.pull(path, copy, &progress);
        return std::string();
      },
      [this, local](const TransferEnd& end) {
        if (end.ended == Ended::done) emit dragReady(local);
      });
}

void FilesController::cancelTransfer() {
  queued_.clear();
  if (transfer_) transfer_->cancel();
}

void FilesController::transfer(TransferBody body, std::function<void(const TransferEnd&)> ended) {
  const TabletView& view = tracker_.view();
  if (!view.ready()) {
    queued_.clear();
    return fail(view.refusal.value_or(""));
  }
  if (transfer_) return fail("Wait for the copy under way to finish, or cancel it.");
  transfer_ = transfers_.stop().child();
  progress_ = {};
  emit transferStarted();
  transfers_.run<TransferEnd>(
      [this, bridge = tracker_.bridge(), serial = *view.serial, body,
       stop = *transfer_](const StopToken&) {
        ObserverFunction<TransferProgress> progress([this](const TransferProgress& now) {
          QMetaObject::invokeMethod(
              this,
              [this, now] {
                progress_ = now;
                emit transferProgressed();
              },
              Qt::QueuedConnection);
        });
        AdbFiles files = AdbFiles(*bridge, serial).stoppedBy(stop);
        try {
          return TransferEnd{Ended::done, body(files, progress)};
        } catch (const Cancelled& cancelled) {
          return TransferEnd{Ended::cancelled, cancelled.message()};
        } catch (const FilesError& error) {
          if (error.kind() != FilesError::Kind::exists) throw;
          return TransferEnd{Ended::taken, RemotePath::name(error.payload())};
        }
      },
      [this, ended](TransferEnd end) {
        transfer_.reset();
        emit transferEnded(QString::fromStdString(end.ended == Ended::taken ? "" : end.said));
        refresh();
        ended(end);
        pushNext();
      },
      [this](const std::string& message) {
        transfer_.reset();
        // The copies dropped with this one wait for the tablet no longer.
        queued_.clear();
        emit transferEnded(QString());
        fail(message);
        refresh();
      });
}

}  // namespace lumivale::app
