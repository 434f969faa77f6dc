#include "app/files/files_controller.h"

#include <QMetaObject>

#include "core/cancelled.h"
#include "core/observer.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

FilesController::FilesController(TabletTracker& tracker, QObject* parent)
    : QObject(parent), tracker_(tracker) {
  connect(&tracker_, &TabletTracker::changed, this, &FilesController::follow);
  follow();
}

std::vector<RemotePath::Crumb> FilesController::crumbs() const {
  return RemotePath::crumbs(folder_, "Lumivale");
}

void FilesController::follow() {
  if (tracker_.view().ready()) refresh();
}

void FilesController::fail(const std::string& message) {
  emit failed(QString::fromStdString(message));
}

void FilesController::open(const std::string& folder) {
  folder_ = folder;
  refresh();
}

void FilesController::refresh() {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return;
  work_.run<std::vector<RemoteEntry>>(
      [bridge = tracker_.bridge(), serial = *view.serial, folder = folder_,
       hidden = showsHidden_](const StopToken& stop) {
        AdbFiles files = AdbFiles(*bridge, serial).stoppedBy(stop);
        return files.list(RemotePath::resolve(folder), hidden);
      },
      [this](std::vector<RemoteEntry> entries) {
        entries_ = std::move(entries);
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

void FilesController::push(const std::filesystem::path& local, CollisionPolicy collision) {
  transfer(
      [local, folder = folder_, collision](AdbFiles& files, TransferObserver& progress) {
        std::string placed = files.push(local, folder, std::nullopt, collision, &progress);
        return "Copied " + RemotePath::name(placed) + " to the tablet.";
      },
      local);
}

void FilesController::pull(const std::string& path, const std::filesystem::path& destination) {
  transfer(
      [path, destination](AdbFiles& files, TransferObserver& progress) {
        files.pull(path, destination, &progress, true);
        return "Saved " + destination.string() + ".";
      },
      destination);
}

void FilesController::cancelTransfer() {
  if (transfer_) transfer_->cancel();
}

void FilesController::transfer(std::function<std::string(AdbFiles&, TransferObserver&)> body,
                               std::filesystem::path local) {
  const TabletView& view = tracker_.view();
  if (!view.ready()) return fail(view.refusal.value_or(""));
  if (transfer_) return fail("Wait for the copy under way to finish, or cancel it.");
  transfer_ = transfers_.stop().child();
  progress_ = {};
  emit transferStarted();
  transfers_.run<TransferEnd>(
      [this, bridge = tracker_.bridge(), serial = *view.serial, body, local,
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
      [this, local](TransferEnd end) {
        transfer_.reset();
        if (end.ended == Ended::taken)
          emit nameTaken(QString::fromStdString(local.string()), QString::fromStdString(end.said));
        emit transferEnded(QString::fromStdString(end.ended == Ended::taken ? "" : end.said));
        refresh();
      },
      [this](const std::string& message) {
        transfer_.reset();
        emit transferEnded(QString());
        fail(message);
        refresh();
      });
}

}  // namespace lumivale::app
