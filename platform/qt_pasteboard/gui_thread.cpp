#include "platform/qt_pasteboard/gui_thread.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QDir>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QThread>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

namespace lumivale::qtpasteboard::GuiThread {
namespace {

constexpr const char* kUnreachable = "the computer's clipboard cannot be reached: ";

std::mutex startLock;
std::thread ownThread;  // guarded by startLock
QGuiApplication* ownApplication = nullptr;

// Work handed to the GUI thread, and whether its event loop has ended: work queued after
// that would never run, so nobody waits for it.
std::mutex runLock;
std::condition_variable runChanged;
bool loopEnded = false;      // guarded by runLock
bool followingQuit = false;  // guarded by startLock

void followQuit(QCoreApplication* application) {
  if (std::exchange(followingQuit, true)) return;
  QObject::connect(application, &QCoreApplication::aboutToQuit, application, [] {
    std::lock_guard guard(runLock);
    loopEnded = true;
    runChanged.notify_all();
  });
}

// Qt's own warnings are for its developers, not for the program's users.
void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

bool isSet(const char* name) {
  const char* value = std::getenv(name);
  return value && *value;
}

// An X server that refuses us would make Qt end the process, so it is asked first.
std::string checkX11() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool refused = xcb_connection_has_error(connection);
  xcb_disconnect(connection);
  if (!refused) return {};
  return std::string(kUnreachable) + "the X display " + std::getenv("DISPLAY") + " does not answer";
}

bool answers(const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) return false;
  socketPath.copy(address.sun_path, socketPath.size());
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const bool connected =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(probe);
  return connected;
}

// A compositor that is not there, or a missing plugin, would make Qt end the process.
std::string checkWayland() {
  std::string display = std::getenv("WAYLAND_DISPLAY");
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  const std::string socketPath =
      display.starts_with('/') || !runtime ? display : std::string(runtime) + "/" + display;
  if (!answers(socketPath))
    return std::string(kUnreachable) + "the Wayland display " + display + " does not answer";
  const QDir platforms(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
  if (!platforms.entryList({"libqwayland*"}).isEmpty()) return {};
  return std::string(kUnreachable) + "Qt's Wayland support is not installed (qt6-wayland)";
}

// Leaves Qt's thread before the process's own objects go; Qt hands a copy it still
// offers to the session's clipboard manager as its application ends.
void stopOwnApplication() {
  std::lock_guard guard(startLock);
  if (!ownThread.joinable()) return;
  QMetaObject::invokeMethod(ownApplication, &QCoreApplication::quit, Qt::QueuedConnection);
  ownThread.join();
  ownApplication = nullptr;
}

std::string startOwnApplication(const char* platform) {
  std::promise<void> started;
  ownThread = std::thread([platform, &started] {
    qInstallMessageHandler(quiet);
    static char name[] = "lumivale";
    static char option[] = "-platform";
    static std::string chosen = platform;
    static char* arguments[] = {name, option, chosen.data(), nullptr};
    static int count = 3;
    QGuiApplication application(count, arguments);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    ownApplication = &application;
    followQuit(&application);
    started.set_value();
    application.exec();
  });
  started.get_future().wait();
  std::atexit(stopOwnApplication);
  return {};
}

}  // namespace

std::string ensureStarted() {
  std::lock_guard guard(startLock);
  if (QCoreApplication::instance()) {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
      followQuit(QCoreApplication::instance());
      return {};
    }
    return std::string(kUnreachable) + "this program runs without its graphical part";
  }
  // Through X where there is one (XWayland too): there Qt sees copies made in the
  // background, which plain Wayland shows only to the window in front.
  if (isSet("DISPLAY")) {
    std::string failure = checkX11();
    return failure.empty() ? startOwnApplication("xcb") : failure;
  }
  if (isSet("WAYLAND_DISPLAY")) {
    std::string failure = checkWayland();
    return failure.empty() ? startOwnApplication("wayland") : failure;
  }
  return std::string(kUnreachable) +
         "no desktop session is open here (neither DISPLAY nor WAYLAND_DISPLAY is set)";
}

bool run(std::function<void()> work, std::chrono::milliseconds deadline) {
  QCoreApplication* application = QCoreApplication::instance();
  if (QThread::currentThread() == application->thread()) {
    work();
    return true;
  }
  auto done = std::make_shared<bool>(false);
  {
    std::lock_guard guard(runLock);
    if (loopEnded) return false;
  }
  QMetaObject::invokeMethod(
      application,
      [work = std::move(work), done] {
        work();
        std::lock_guard guard(runLock);
        *done = true;
        runChanged.notify_all();
      },
      Qt::QueuedConnection);
  std::unique_lock guard(runLock);
  runChanged.wait_for(guard, deadline, [&] { return *done || loopEnded; });
  return *done;
}

bool ownsApplication() {
  std::lock_guard guard(startLock);
  return ownApplication != nullptr;
}

}  // namespace lumivale::qtpasteboard::GuiThread
