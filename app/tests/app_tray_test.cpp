// The tray item under Xvfb in a private D-Bus session: there only while a tray host runs
// (a StatusNotifierWatcher on the bus, as a panel has), appearing when one starts after
// the app, the window never hidden without one, and its menu driving the stand-in tablet:
// the light, the profiles, the shared clipboard and a Reading folder sync.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include <QAction>
#include <QApplication>
#include <QListWidgetItem>
#include <QMenu>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include "app/shell/app_parts.h"
#include "app/shell/app_shell.h"
#include "app/tests/app_test_setting.h"
#include "companion/app_settings_store.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "platform/system_pasteboard.h"

namespace lumivale::app {
namespace {

constexpr int deadline = 90'000;

// A panel's tray host, run as a program of its own as a panel is.
class FakeTrayHost {
 public:
  FakeTrayHost() {
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(LUMIVALE_FAKE_TRAY_HOST, {});
  }
  ~FakeTrayHost() {
    process_.terminate();
    process_.waitForFinished(deadline);
  }

  // Waits for the host to say a line starting with `prefix`; true when it did.
  bool said(const QString& prefix) {
    QDeadlineTimer timer(deadline);
    while (!timer.hasExpired()) {
      while (process_.canReadLine()) {
        QString line = QString::fromUtf8(process_.readLine()).trimmed();
        lines_ << line;
        if (line.startsWith(prefix)) return true;
      }
      if (process_.state() == QProcess::NotRunning) return false;
      process_.waitForReadyRead(1000);
    }
    return false;
  }
  // An item's registration with the host: what a panel needs to show it.
  bool itemRegistered() { return said("item "); }

 private:
  QProcess process_;
  QStringList lines_;
};

QAction* actionNamed(QMenu& menu, const QString& text) {
  for (QAction* action : menu.actions())
    if (action->text().startsWith(text) ||
        (action->menu() && action->menu()->title().startsWith(text)))
      return action;
  return nullptr;
}

}  // namespace

class AppTrayTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    QCOMPARE(QGuiApplication::platformName(), "xcb");
    // The computer's clipboard is a file of the test's own.
    ::setenv(SystemPasteboard::environmentKey, (local_.path() / "pasteboard.json").c_str(), 1);
    setting_ = std::make_unique<testing::AppTestSetting>();
    // Past the first run: the welcome would keep the window up.
    companion::AppSettingsStore::standard().update(
        [](companion::AppSettings& settings) { settings.welcomed = true; });
    parts_ = std::make_unique<AppParts>();
  }

  void cleanupTestCase() {
    parts_.reset();
    setting_.reset();
  }

  // Kept first: no tray host has been seen in this process yet, as at a login where
  // the panel starts after the app.
  void withoutATrayHostTheWindowStaysAndTheItemComesWithALateHost() {
    AppShell shell(*parts_);
    QVERIFY(!shell.tray().shown());
    shell.start(true);
    QVERIFY(QTest::qWaitForWindowExposed(&shell.window()));
    QVERIFY(QApplication::quitOnLastWindowClosed());

    QSignalSpy shown(&shell.tray(), &TrayItem::shownChanged);
    FakeTrayHost host;
    QVERIFY(host.said("ready"));
    QTRY_VERIFY_WITH_TIMEOUT(shell.tray().shown(), deadline);
    QVERIFY(host.itemRegistered());
    // Now the window may close into the tray.
    QVERIFY(!QApplication::quitOnLastWindowClosed());
    shell.window().close();
    QVERIFY(shell.window().isHidden());
    actionNamed(shell.tray().menu(), "Open Lumivale")->trigger();
    QVERIFY(QTest::qWaitForWindowExposed(&shell.window()));
  }

  void theWindowComesBackWhenTheTrayHostGoes() {
    auto host = std::make_unique<FakeTrayHost>();
    QVERIFY(host->said("ready"));
    AppShell shell(*parts_);
    QTRY_VERIFY_WITH_TIMEOUT(shell.tray().shown(), deadline);
    shell.start(true);
    QVERIFY(shell.window().isHidden());
    QVERIFY(host->itemRegistered());

    host.reset();
    QTRY_VERIFY_WITH_TIMEOUT(!shell.tray().shown(), deadline);
    QVERIFY(QTest::qWaitForWindowExposed(&shell.window()));
    QVERIFY(QApplication::quitOnLastWindowClosed());
  }

  void theMenuShowsTheTabletAndChangesItsLight() {
    FakeTrayHost host;
    auto shell = startInTray(host);
    QVERIFY(shell);
    TrayMenu& menu = shell->tray().menu();
    QTRY_COMPARE_WITH_TIMEOUT(menu.stateLine(), "Your Lumivale is ready.", deadline);
    QTRY_VERIFY_WITH_TIMEOUT(parts_->desk.setting("warmth").read, deadline);

    QAction* warmth = actionNamed(menu, "Warmth");
    QVERIFY(warmth && warmth->isEnabled());
    QAction* step = actionNamed(*warmth->menu(), "192");
    QVERIFY(step);
    QSignalSpy changed(&parts_->desk, &DeskController::settingChanged);
    step->trigger();
    QVERIFY(changed.wait(deadline));
    QCOMPARE(setting_->warmth(), 192);
    QCOMPARE(warmth->menu()->title(), "Warmth: 192");
    QVERIFY(step->isChecked());

    // A profile from the menu, and back.
    QSignalSpy finished(&parts_->profiles, &ProfilesController::finished);
    actionNamed(menu, "Go to bed")->trigger();
    QVERIFY(finished.wait(deadline));
    QCOMPARE(setting_->warmth(), 220);
    QVERIFY(actionNamed(menu, "Go to bed since")->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(warmth->menu()->title(), "Warmth: 220", deadline);
    QAction* restore = actionNamed(menu, "Restore settings");
    QVERIFY(restore->isEnabled());
    restore->trigger();
    QVERIFY(finished.wait(deadline));
    QCOMPARE(setting_->warmth(), 192);
    QVERIFY(!restore->isEnabled());
    QVERIFY(actionNamed(menu, "No profile is active."));

    // The tablet going away is said on the menu, and its light can no longer be changed.
    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->tracker.view().ready(), deadline);
    QCOMPARE(menu.stateLine().toStdString(), parts_->tracker.view().refusal.value());
    QVERIFY(!warmth->isEnabled());
    setting_->tablet().connect();
    QTRY_COMPARE_WITH_TIMEOUT(menu.stateLine(), "Your Lumivale is ready.", deadline);
  }

  void theMenuSharesTheClipboardAndSyncsTheReadingFolder() {
    FakeTrayHost host;
    auto shell = startInTray(host);
    QVERIFY(shell);
    TrayMenu& menu = shell->tray().menu();

    // Switched on while the tablet is away: waiting, in the menu and in the sidebar.
    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->tracker.view().ready(), deadline);
    QAction* sharing = actionNamed(menu, "Share the clipboard");
    QVERIFY(sharing && !sharing->isChecked());
    sharing->trigger();
    QVERIFY(parts_->clipboard.sharing());
    QVERIFY(sharing->isChecked());
    QTRY_VERIFY_WITH_TIMEOUT(actionNamed(menu, "Waiting for your Lumivale"), deadline);
    const QStringList names = shell->window().paneNames();
    QListWidgetItem* clipboardItem = shell->window().sidebar()->item(names.indexOf("Clipboard"));
    QCOMPARE(clipboardItem->text(), "Clipboard\nSharing · waiting");
    setting_->tablet().connect();
    QTRY_VERIFY_WITH_TIMEOUT(actionNamed(menu, "On over"), deadline);
    QCOMPARE(clipboardItem->text(), "Clipboard");
    QVERIFY(companion::AppSettingsStore::standard().load().sharedClipboardEnabled);
    sharing->trigger();
    QVERIFY(!parts_->clipboard.sharing());

    // The Reading folder, chosen in its pane, synced from the menu.
    const std::filesystem::path reading = local_.path() / "Reading";
    std::filesystem::create_directories(reading);
    std::ofstream(reading / "tray.txt") << "from the tray";
    ReadingFolderController& folder = parts_->readingFolder;
    folder.chooseFolder(QString::fromStdString(reading.string()));
    QAction* sync = actionNamed(menu, "Sync the Reading folder now");
    QTRY_VERIFY_WITH_TIMEOUT(sync->isEnabled(), deadline);
    QSignalSpy ended(&folder, &ReadingFolderController::syncEnded);
    sync->trigger();
    QVERIFY(ended.wait(deadline));
    QVERIFY(!folder.lastResult().isEmpty());
    QVERIFY(actionNamed(menu, folder.lastResult())->isVisible());
    QVERIFY(sync->isEnabled());
    const auto copy = setting_->tablet().hostPath(folder.tabletFolder() + "/tray.txt");
    QVERIFY2(std::filesystem::exists(copy), copy.c_str());

    // Watched: the menu follows the watch, and offers no sync while the watch's own runs.
    struct Seen {
      QString said;
      bool shown;
      bool syncOffered;
    };
    QList<Seen> seen;
    connect(&folder, &ReadingFolderController::watchChanged, this, [&] {
      QAction* line = actionNamed(menu, folder.lastResult());
      seen << Seen{folder.lastResult(), line && line->isVisible(), sync->isEnabled()};
    });
    folder.setWatched(true);
    QTRY_VERIFY_WITH_TIMEOUT(!seen.isEmpty() && seen.last().said.endsWith("failed"), deadline);
    std::ofstream(reading / "watched.txt") << "watched";
    QTRY_VERIFY_WITH_TIMEOUT(seen.last().said.startsWith("1 copied"), deadline);
    disconnect(&folder, &ReadingFolderController::watchChanged, this, nullptr);
    for (const Seen& one : seen) {
      QVERIFY2(one.shown, qPrintable(one.said));
      QVERIFY2(one.syncOffered != one.said.startsWith("syncing ("), qPrintable(one.said));
    }
    folder.setWatched(false);
    QTRY_VERIFY_WITH_TIMEOUT(!folder.watching(), deadline);
  }

 private:
  // The app started in the tray of `host`, once the tablet is ready.
  std::unique_ptr<AppShell> startInTray(FakeTrayHost& host) {
    if (!host.said("ready")) return nullptr;
    auto shell = std::make_unique<AppShell>(*parts_);
    shell->start(true);
    if (!QTest::qWaitFor([this] { return parts_->tracker.view().ready(); }, deadline))
      return nullptr;
    return shell;
  }

  testing::TemporaryFolder local_;
  std::unique_ptr<testing::AppTestSetting> setting_;
  std::unique_ptr<AppParts> parts_;
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppTrayTest)
#include "app_tray_test.moc"
