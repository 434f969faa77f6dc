// liblumivale-qt-pasteboard.so: the desktop's clipboard through Qt, loaded by the program
// only when a command needs it.
#include <xcb/xcb.h>

#include <QtGui/qguiapplication_platform.h>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/desktop_clipboard.h"
#include "platform/qt_pasteboard/gui_thread.h"

namespace lumivale::qtpasteboard {
namespace {

// Reading another program's copy waits for it to answer; Qt gives up on one after 5 s.
constexpr std::chrono::seconds kDeadline{30};
constexpr const char* kNoAnswer = "the computer's clipboard did not answer in time";

// The copies counted so far, bumped on the GUI thread and waited for on others.
class Copies {
 public:
  std::int64_t count() {
    std::lock_guard guard(lock_);
    return count_;
  }
  void bump() {
    std::lock_guard guard(lock_);
    ++count_;
    changed_.notify_all();
  }
  void release() {
    std::lock_guard guard(lock_);
    released_ = true;
    changed_.notify_all();
  }
  // Until the count moves past `own` or release(), at most `limit`.
  void waitPast(std::int64_t own, std::chrono::milliseconds limit) {
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, limit, [&] { return count_ != own || released_; });
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  std::int64_t count_ = 1;
  bool released_ = false;
};

DesktopClipboard::Answer unanswered() {
  DesktopClipboard::Answer answer;
  answer.failure = kNoAnswer;
  return answer;
}

// Whether an X clipboard manager runs: Qt hands it our copy when the application ends.
bool clipboardManagerRuns() {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11) return false;
  xcb_connection_t* connection = x11->connection();
  static constexpr char kName[] = "CLIPBOARD_MANAGER";
  auto* atom = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, true, sizeof kName - 1, kName), nullptr);
  if (!atom) return false;
  auto* owner = xcb_get_selection_owner_reply(
      connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
  const bool runs = owner && owner->owner != XCB_NONE;
  std::free(owner);
  std::free(atom);
  return runs;
}

class QtDesktopClipboard : public DesktopClipboard {
 public:
  QtDesktopClipboard(SecretTest isSecret, std::shared_ptr<Copies> copies,
                     QMetaObject::Connection watch)
      : isSecret_(isSecret), copies_(std::move(copies)), watch_(std::move(watch)) {}
  ~QtDesktopClipboard() override { QObject::disconnect(watch_); }

  Answer changeCount() override {
    Answer answer;
    answer.changeCount = copies_->count();
    return answer;
  }

  Answer read(std::int64_t seen) override {
    auto answer = std::make_shared<Answer>();
    const bool answered = GuiThread::run(
        [answer, copies = copies_, isSecret = isSecret_, seen] {
          const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
          answer->content = contentOf(data, isSecret);
          if (copies->count() != seen)
            answer->content = PasteboardContent::of(PasteboardContent::Kind::changing);
        },
        kDeadline);
    if (!answered) return unanswered();
    return *answer;
  }

  Answer write(const std::string& text) override {
    auto answer = std::make_shared<Answer>();
    const bool answered = GuiThread::run(
        [answer, copies = copies_, text] {
          QClipboard* clipboard = QGuiApplication::clipboard();
          auto* data = new QMimeData;
          data->setText(QString::fromStdString(text));
          const std::int64_t before = copies->count();
          clipboard->setMimeData(data, QClipboard::Clipboard);
          if (!clipboard->ownsClipboard()) {
            answer->failure = "the computer's clipboard did not take the text";
            return;
          }
          if (copies->count() == before) copies->bump();
          answer->changeCount = copies->count();
        },
        kDeadline);
    if (!answered) return unanswered();
    if (answer->failure.empty()) written_ = answer->changeCount;
    return *answer;
  }

  bool offeredAlone() override {
    if (!written_ || copies_->count() != *written_ || !GuiThread::ownsApplication()) return false;
    auto managed = std::make_shared<bool>(true);
    // Unanswered, the GUI thread may still write `managed`: it is not read then.
    if (!GuiThread::run([managed] { *managed = clipboardManagerRuns(); }, kDeadline)) return false;
    return !*managed;
  }

  void keepOffered(std::chrono::milliseconds limit) override {
    if (written_) copies_->waitPast(*written_, limit);
  }

  void release() override { copies_->release(); }

 private:
  static PasteboardContent contentOf(const QMimeData* data, SecretTest isSecret) {
    if (!data) return PasteboardContent::of(PasteboardContent::Kind::notText);
    std::vector<std::string> formats;
    for (const QString& format : data->formats())
      formats.push_back(format.toStdString());
    if (isSecret(formats, [data](const std::string& format) {
          return data->data(QString::fromStdString(format)).toStdString();
        }))
      return PasteboardContent::of(PasteboardContent::Kind::secret);
    if (!data->hasText()) return PasteboardContent::of(PasteboardContent::Kind::notText);
    return PasteboardContent::ofText(data->text().toStdString());
  }

  const SecretTest isSecret_;
  const std::shared_ptr<Copies> copies_;
  const QMetaObject::Connection watch_;
  std::optional<std::int64_t> written_;
};

}  // namespace
}  // namespace lumivale::qtpasteboard

extern "C" lumivale::DesktopClipboard* lumivaleOpenDesktopClipboard(
    lumivale::DesktopClipboard::SecretTest isSecret, std::string* failure) {
  using namespace lumivale::qtpasteboard;
  *failure = GuiThread::ensureStarted();
  if (!failure->empty()) return nullptr;
  auto copies = std::make_shared<Copies>();
  auto watch = std::make_shared<QMetaObject::Connection>();
  // Qt reports copies made by other programs too, in the background (on X11).
  if (!GuiThread::run(
          [copies, watch] {
            QClipboard* clipboard = QGuiApplication::clipboard();
            *watch = QObject::connect(clipboard, &QClipboard::dataChanged, clipboard,
                                      [copies] { copies->bump(); });
          },
          kDeadline)) {
    *failure = kNoAnswer;
    return nullptr;
  }
  return new QtDesktopClipboard(isSecret, std::move(copies), *watch);
}
