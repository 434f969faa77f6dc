#include "app/clipboard/clipboard_controller.h"

#include "app/clipboard/clipboard_link.h"

#include <QDateTime>
#include <QLocale>
#include <QMetaObject>

#include "companion/app_settings_store.h"
#include "companion/kept_clipboard_history.h"
#include "core/clipboard/clip_one_shot.h"
#include "core/tablet/adb_bridge.h"
#include "platform/system_pasteboard.h"

namespace lumivale::app {
namespace {

// The computer's clipboard as the app hands a copy to it: the app stays running, so the
// copy stays offered without waiting.
class AppComputerClipboard : public ClipHandOff {
 public:
  void hand(const std::string& text) override { SystemPasteboard::open()->write(text); }
};

std::string shortTime(std::chrono::system_clock::time_point at) {
  const QDateTime when = QDateTime::fromSecsSinceEpoch(
      std::chrono::duration_cast<std::chrono::seconds>(at.time_since_epoch()).count());
  return QLocale().toString(when.time(), QLocale::ShortFormat).toStdString();
}

// The ready tablet's clipboard, through the app's bridge (asked for only while the tablet
// is ready, so there is one).
class TabletHandOff : public ClipHandOff {
 public:
  TabletHandOff(std::shared_ptr<AdbBridge> bridge, std::string serial, const StopToken& stop)
      : bridge_(std::move(bridge)), serial_(std::move(serial)), stop_(stop) {}
  void hand(const std::string& text) override {
    ClipOneShot::set({*bridge_, *bridge_, *bridge_}, serial_, text, &stop_);
  }

 private:
  std::shared_ptr<AdbBridge> bridge_;
  std::string serial_;
  const StopToken& stop_;
};

std::string copiedTo(CopyDestination destination) {
  switch (destination) {
    case CopyDestination::computer:
      return "Copied to this computer's clipboard.";
    case CopyDestination::tablet:
      return "Copied to the tablet's clipboard.";
    case CopyDestination::both:
      break;
  }
  return "Copied to this computer's and the tablet's clipboards.";
}

}  // namespace

ClipboardController::ClipboardController(TabletTracker& tracker, QObject* parent)
    : QObject(parent),
      tracker_(tracker),
      line_(std::make_unique<ClipStatusLine>(ClipStatusLine::Route::usb, shortTime)) {
  line_->apply({.kind = SharedClipboardEvent::Kind::stopped});
  connect(&tracker_, &TabletTracker::changed, this, &ClipboardController::follow);
  load();
}

ClipboardController::~ClipboardController() {
  // The links call back into this object from their own threads: they end first (a link
  // already ending finishes on its worker, which is waited for below).
  if (link_) link_->stop();
  for (const auto& link : ending_)
    link->stop();
  stops_.finish();
  links_.finish();
}

QString ClipboardController::statusLine() const {
  return QString::fromStdString(line_->text());
}

QString ClipboardController::sidebarText() const {
  return QString::fromStdString(line_->sidebarText());
}

void ClipboardController::fail(const std::string& message) {
  emit failed(QString::fromStdString(message));
}

void ClipboardController::showStatus() {
  emit statusChanged(statusLine(), sidebarText());
}

void ClipboardController::load() {
  const std::uint64_t choices = choices_;
  work_.run<bool>(
      [](const StopToken&) {
        return companion::AppSettingsStore::standard().load().sharedClipboardEnabled;
      },
      // A choice made while the setting was read wins over it.
      [this, choices](bool on) {
        if (choices == choices_ && on != wanted_) wantSharing(on);
      },
      [this](const std::string& message) { fail(message); });
  change([](ClipboardHistory&) { return false; });
}

void ClipboardController::follow() {
  if (!wanted_ || (link_ && !linkEnded_)) return;
  if (tracker_.view().ready()) return startLink();
  // Not started yet, or given up: it starts when the tablet is ready.
  line_->apply({.kind = SharedClipboardEvent::Kind::restarting});
  showStatus();
}

void ClipboardController::setSharing(bool on) {
  ++choices_;
  if (on == wanted_) return;
  wantSharing(on);
  work_.run(
      [on](const StopToken&) {
        companion::AppSettingsStore::standard().update(
            [on](companion::AppSettings& settings) { settings.sharedClipboardEnabled = on; });
      },
      [] {}, [this](const std::string& message) { fail(message); });
}

void ClipboardController::startSharing() {
  setSharing(true);
}

void ClipboardController::stopSharing() {
  setSharing(false);
}

void ClipboardController::wantSharing(bool on) {
  wanted_ = on;
  emit sharingChanged(on);
  if (on) {
    line_->apply({.kind = SharedClipboardEvent::Kind::preparing});
    showStatus();
    return follow();
  }
  ++generation_;
  retire();
  line_->apply({.kind = SharedClipboardEvent::Kind::stopped});
  showStatus();
}

void ClipboardController::retire() {
  auto link = std::exchange(link_, nullptr);
  if (!link) return;
  ending_.push_back(link);
  auto ended = [this, link] { std::erase(ending_, link); };
  stops_.run([link](const StopToken&) { link->stop(); }, ended,
             [ended](const std::string&) { ended(); });
}

void ClipboardController::startLink() {
  const TabletView& view = tracker_.view();
  const AdbDevice* connection = view.connection();
  const bool wifi = connection && connection->isWifi();
  const std::uint64_t generation = ++generation_;
  retire();
  linkEnded_ = false;
  paused_ = false;
  line_ = std::make_unique<ClipStatusLine>(
      wifi ? ClipStatusLine::Route::wifi : ClipStatusLine::Route::usb, shortTime);
  try {
    // Events and copies come on the link's threads, tagged with its generation.
    link_ = std::make_shared<ClipboardLink>(
        tracker_.bridge(), *view.serial, view.unencryptedWifi,
        [this, generation](const SharedClipboardEvent& event) {
          QMetaObject::invokeMethod(
              this, [this, generation, event] { linkEvent(generation, event); },
              Qt::QueuedConnection);
        },
        [this](const ClipTransfer& transfer) {
          QMetaObject::invokeMethod(
              this, [this, transfer] { record(transfer); }, Qt::QueuedConnection);
        });
  } catch (const Error& error) {
    return linkFailed(generation, error.message());
  }
  links_.run([link = link_](const StopToken&) { link->start(); }, [] {},
             [this, generation](const std::string& message) { linkFailed(generation, message); });
}

void ClipboardController::linkEvent(std::uint64_t generation, const SharedClipboardEvent& event) {
  if (generation != generation_) return;
  if (event.kind == SharedClipboardEvent::Kind::failed) linkEnded_ = true;
  if (event.kind == SharedClipboardEvent::Kind::paused) paused_ = true;
  line_->apply(event);
  showStatus();
}

void ClipboardController::linkFailed(std::uint64_t generation, const std::string& message) {
  if (generation != generation_) return;
  linkEnded_ = true;
  // A paused link ends its start on purpose; its status stays "paused".
  if (paused_) return fail(message);
  line_->apply({.kind = SharedClipboardEvent::Kind::failed, .text = message});
  showStatus();
  fail(message);
}

void ClipboardController::record(const ClipTransfer& transfer) {
  const auto* synced = std::get_if<ClipTransfer::Synced>(&transfer.value);
  if (!synced) return;
  const auto origin = synced->direction == ClipDirection::macToLumivale
                          ? ClipboardHistory::Origin::fromMac
                          : ClipboardHistory::Origin::fromLumivale;
  change([text = synced->text, origin, at = synced->at](ClipboardHistory& history) {
    return history.record(text, origin, at);
  });
}

void ClipboardController::change(std::function<bool(ClipboardHistory&)> body) {
  work_.run<Listed>(
      [memory = memory_, body](const StopToken&) {
        auto kept = companion::KeptClipboardHistory::standard();
        Listed listed;
        listed.kept = kept.kept();
        if (listed.kept) {
          auto loaded = kept.store().update(
              [&](ClipboardHistory& history) { return kept.kept() && body(history); });
          if (auto* history = std::get_if<ClipboardHistory>(&loaded)) {
            *memory = std::move(*history);
          } else {
            // The saved list is left for the user; this run's copies are listed meanwhile.
            listed.problem = std::get<ClipboardHistoryStore::LoadProblem>(loaded).description();
            body(*memory);
          }
        } else {
          body(*memory);
        }
        listed.items = memory->items();
        return listed;
      },
      [this](Listed listed) { this->listed(std::move(listed)); },
      [this](const std::string& message) { fail(message); });
}

void ClipboardController::listed(Listed listed) {
  history_ = std::move(listed.items);
  kept_ = listed.kept;
  problem_ = QString::fromStdString(listed.problem.value_or(""));
  emit historyChanged();
}

void ClipboardController::copy(const std::string& id, CopyDestination destination) {
  const TabletView& view = tracker_.view();
  if (destination != CopyDestination::computer && !view.ready())
    return fail(view.refusal.value_or(""));
  std::string text;
  for (const ClipboardHistory::Item& item : history_)
    if (item.id == id) text = item.text;
  if (text.empty()) return;
  work_.run(
      [bridge = tracker_.bridge(), serial = view.serial.value_or(""), text,
       destination](const StopToken& stop) {
        AppComputerClipboard computer;
        TabletHandOff tablet(bridge, serial, stop);
        copyAgain(text, destination, computer, tablet);
      },
      [this, destination] { emit copied(QString::fromStdString(copiedTo(destination))); },
      [this](const std::string& message) { fail(message); });
}

void ClipboardController::remove(const std::string& id) {
  change([id](ClipboardHistory& history) { return history.remove(id); });
}

void ClipboardController::clear() {
  work_.run(
      [memory = memory_](const StopToken&) {
        memory->clear();
        companion::KeptClipboardHistory::standard().store().deleteFile();
      },
      [] {}, [this](const std::string& message) { fail(message); });
  change([](ClipboardHistory&) { return false; });
}

void ClipboardController::setKept(bool kept) {
  work_.run(
      [memory = memory_, kept](const StopToken&) {
        auto history = companion::KeptClipboardHistory::standard();
        if (kept) {
          history.setKept(true);
          // What was listed while it was not kept is kept from now on as well.
          history.store().update([&](ClipboardHistory& saved) {
            const auto& items = memory->items();
            for (auto item = items.rbegin(); item != items.rend(); ++item)
              saved.record(item->text, item->origin, item->at);
            return !items.empty();
          });
        } else {
          // The rows stay listed until the app quits.
          if (auto loaded = history.store().load())
            if (auto* saved = std::get_if<ClipboardHistory>(&*loaded)) *memory = std::move(*saved);
          history.setKept(false);
        }
      },
      [] {}, [this](const std::string& message) { fail(message); });
  change([](ClipboardHistory&) { return false; });
}

}  // namespace lumivale::app
