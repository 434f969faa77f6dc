#include "app/shell/tray_host_watch.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QSystemTrayIcon>

namespace lumivale::app {
namespace {

constexpr const char* watcherPath = "/StatusNotifierWatcher";
// The bus answers at once; this only bounds a host that hangs.
constexpr int answerDeadlineMs = 3000;

// Whether the watcher has a host to show items: asks for its IsStatusNotifierHostRegistered.
QDBusMessage hostQuestion() {
  QDBusMessage question = QDBusMessage::createMethodCall(TrayHostWatch::watcherService, watcherPath,
                                                         "org.freedesktop.DBus.Properties", "Get");
  question << QString(TrayHostWatch::watcherService) << QString("IsStatusNotifierHostRegistered");
  return question;
}

bool hostRegistered(const QDBusPendingReply<QDBusVariant>& reply) {
  return reply.isValid() && !reply.isError() && reply.value().variant().toBool();
}

}  // namespace

TrayHostWatch::TrayHostWatch(QObject* parent) : QObject(parent) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    // Nothing to follow: the platform's own answer (the Mac's menu bar) is all there is.
    present_ = QSystemTrayIcon::isSystemTrayAvailable();
    return;
  }
  watcher_ =
      new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
  connect(watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
          [this](const QString&, const QString&, const QString& newOwner) {
            // No new owner: the watcher went, and its host with it.
            if (newOwner.isEmpty()) return settle(false);
            lookAgain();
          });
  // A watcher may come before its panel's host does.
  bus.connect(watcherService, watcherPath, watcherService, "StatusNotifierHostRegistered", this,
              SLOT(lookAgain()));
  // Asked once here with a wait, so the app knows before its window is shown.
  if (bus.interface()->isServiceRegistered(watcherService))
    present_ = hostRegistered(bus.call(hostQuestion(), QDBus::Block, answerDeadlineMs));
}

void TrayHostWatch::lookAgain() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(hostQuestion(), answerDeadlineMs), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
    call->deleteLater();
    settle(hostRegistered(*call));
  });
}

void TrayHostWatch::settle(bool present) {
  if (present == present_) return;
  present_ = present;
  emit changed(present_);
}

}  // namespace lumivale::app
