// The first-run welcome under Xvfb against a stand-in tablet that has not yet allowed this
// computer: it finds adb, waits for Allow on the tablet, and ends on the Devices pane.
#include <memory>

#include <QAbstractButton>
#include <QSignalSpy>
#include <QTest>

#include "app/shell/app_parts.h"
#include "app/shell/app_shell.h"
#include "app/shell/welcome_dialog.h"
#include "app/tests/app_test_setting.h"
#include "app/tests/find_button.h"
#include "companion/app_settings_store.h"

namespace lumivale::app {
namespace {

constexpr int deadline = 90'000;

}  // namespace

class AppWelcomeTest : public QObject {
  Q_OBJECT

 private slots:
  void theWelcomeWaitsForAllowAndEndsOnDevices() {
    testing::AppTestSetting setting(testing::StandinOptions().fault("unauthorized"));
    QVERIFY(WelcomeController::needed());
    AppParts parts;
    AppShell shell(parts);
    // A first run shows the window even when asked to start in the tray.
    shell.start(true);
    QVERIFY(QTest::qWaitForWindowExposed(&shell.window()));
    QVERIFY(shell.welcome());
    auto* dialog = shell.window().findChild<WelcomeDialog*>();
    QVERIFY(dialog && dialog->isVisible());
    WelcomeController& welcome = *shell.welcome();

    QTRY_VERIFY_WITH_TIMEOUT(welcome.step() == WelcomeController::Step::waitingForAllow, deadline);
    QVERIFY(welcome.adb().has_value());
    QCOMPARE(dialog->body(), "On your Lumivale, tap Allow for this Mac first.");
    auto* done = testing::findButton(dialog, "Continue to Devices");
    QVERIFY(done && !done->isEnabled());

    // The user taps Allow: the tablet takes this computer's key on the next handshake.
    setting.tablet().clearFault("unauthorized");
    setting.tablet().dropConnections();
    setting.tablet().connect();
    QTRY_VERIFY_WITH_TIMEOUT(welcome.step() == WelcomeController::Step::ready, deadline);
    QVERIFY(done->isEnabled());

    shell.window().showPane("Account");
    QTest::mouseClick(done, Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!dialog->isVisible(), deadline);
    QCOMPARE(shell.window().currentPane(), "Devices");
    QVERIFY(companion::AppSettingsStore::standard().load().welcomed);
    QVERIFY(!WelcomeController::needed());
  }
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppWelcomeTest)
#include "app_welcome_test.moc"
