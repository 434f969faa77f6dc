#pragma once

#include <QObject>

class QDBusServiceWatcher;

namespace lumivale::app {

// Whether a tray host is there (a panel's StatusNotifierWatcher on the session bus, with
// its host registered), and word when one comes or goes. Qt looks for the host once,
// when the first tray item is made, and keeps that answer for the process: a panel that
// starts after the app would never get its item. So the app asks the bus itself, follows
// it, and makes the item only once a host is there.
class TrayHostWatch : public QObject {
  Q_OBJECT

 public:
  static constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";

  explicit TrayHostWatch(QObject* parent = nullptr);

  bool present() const { return present_; }

 signals:
  void changed(bool present);

 private slots:
  // Asks the watcher whether its host is there, without waiting for the answer.
  void lookAgain();

 private:
  void settle(bool present);

  QDBusServiceWatcher* watcher_ = nullptr;
  bool present_ = false;
};

}  // namespace lumivale::app
