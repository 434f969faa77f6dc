// A tray host for the app's tests: a StatusNotifierWatcher on the session bus, as a
// desktop panel runs one, that says on its standard output when it is on the bus
// ("ready") and each item that registers with it ("item SERVICE").
#include <cstdio>

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusError>
#include <QStringList>

namespace {

void say(const QString& line) {
  std::printf("%s\n", qPrintable(line));
  std::fflush(stdout);
}

class Watcher : public QObject {
  Q_OBJECT
};

class WatcherAdaptor : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
  Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
  Q_PROPERTY(int ProtocolVersion READ protocolVersion)
  Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

 public:
  explicit WatcherAdaptor(Watcher* parent) : QDBusAbstractAdaptor(parent) {}

  bool hostRegistered() const { return true; }
  int protocolVersion() const { return 0; }
  QStringList items() const { return items_; }

 public slots:
  void RegisterStatusNotifierItem(const QString& service) {
    items_ << service;
    say("item " + service);
    emit StatusNotifierItemRegistered(service);
  }
  void RegisterStatusNotifierHost(const QString&) {}

 signals:
  void StatusNotifierItemRegistered(const QString& service);
  void StatusNotifierHostRegistered();

 private:
  QStringList items_;
};

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  Watcher watcher;
  new WatcherAdaptor(&watcher);
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.registerObject("/StatusNotifierWatcher", &watcher) ||
      !bus.registerService("org.kde.StatusNotifierWatcher")) {
    std::fprintf(stderr, "fake_tray_host: %s\n", qPrintable(bus.lastError().message()));
    return 1;
  }
  say("ready");
  return QCoreApplication::exec();
}

#include "fake_tray_host.moc"
