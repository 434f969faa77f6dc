// The first-run welcome under Xvfb against a stand-in tablet that has not yet allowed this
// computer: it finds adb, waits for Allow on the tablet, and ends on the Devices pane; and
// it gets Google's tools from a manifest and archive served on loopback. Damaged settings
// are no first run: the window starts and says what is wrong.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include <QAbstractButton>
#include <QSignalSpy>
#include <QTest>

#include "app/shell/app_parts.h"
#include "app/shell/app_shell.h"
#include "app/shell/tablet_gate.h"
#include "app/shell/welcome_dialog.h"
#include "app/tests/app_test_setting.h"
#include "app/tests/find_button.h"
#include "companion/app_settings_store.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "tests/integration/account/loopback_server.h"
#include "tests/integration/tools/platform_tools_archive.h"

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

  void damagedSettingsStartTheWindowWithTheirSentence() {
    testing::AppTestSetting setting;
    std::filesystem::create_directories(setting.settingsFolder());
    std::ofstream(setting.settingsFolder() / "config.json") << R"({"portmarkBaseUrl": )";
    QVERIFY(!WelcomeController::needed());
    AppParts parts;
    AppShell shell(parts);
    shell.start(false);
    QVERIFY(QTest::qWaitForWindowExposed(&shell.window()));
    QVERIFY(!shell.welcome());
    shell.window().showPane("Desk");
    auto* gate = shell.window().findChild<TabletGate*>();
    QVERIFY(gate);
    QTRY_VERIFY_WITH_TIMEOUT(gate->refusal().startsWith("config.json could not be read: "),
                             deadline);
  }

  void androidsToolsComeFromGoogleWhenAsked() {
    testing::AppTestSetting setting;
    testing::TemporaryFolder folder;
    const std::string zip = testing::platformToolsZip(folder.path());
    testing::LoopbackServer google([&](const testing::LoopbackServer::Request& request) {
      if (request.path == "/repository/manifest.xml")
        return testing::LoopbackServer::Response{
            200, {}, testing::manifestFor(zip, testing::sha1Of(zip))};
      if (request.path == "/repository/platform-tools-linux.zip")
        return testing::LoopbackServer::Response{200, {}, zip};
      return testing::LoopbackServer::Response{404, {}, ""};
    });
    const std::string manifest = google.baseUrl() + "/repository/manifest.xml";
    ::setenv("LUMIVALE_TOOLS_MANIFEST_URL", manifest.c_str(), 1);
    AppParts parts;
    AppShell shell(parts);
    shell.start(false);
    WelcomeController& welcome = *shell.welcome();
    QTRY_VERIFY_WITH_TIMEOUT(welcome.step() == WelcomeController::Step::ready, deadline);

    // As the button does, once Google's terms are agreed to.
    QSignalSpy progress(&welcome, &WelcomeController::progressChanged);
    welcome.getTools();
    QVERIFY(welcome.step() == WelcomeController::Step::gettingTools);
    QTRY_VERIFY_WITH_TIMEOUT(welcome.step() == WelcomeController::Step::ready, deadline);
    QVERIFY(progress.count() > 0);
    QVERIFY(welcome.progress() == 1.0);
    QVERIFY(testing::readFile(setting.settingsFolder() / "platform-tools" / "adb") ==
            testing::readFile("/usr/bin/adb"));
  }
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppWelcomeTest)
#include "app_welcome_test.moc"
