// The app's window as a person sees it, drawn by X (Xvfb) against a stand-in tablet:
// every pane rendered and kept as a screenshot, keyboard use, accessible names, the
// controls writing to the tablet, files dropped on the window, and the window's place
// remembered.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>
#include <QTreeWidgetItem>

#include "app/files/files_listing.h"
#include "app/shell/app_parts.h"
#include "app/tests/app_test_setting.h"
#include "app/tests/find_button.h"
#include "companion/app_settings_store.h"
#include "companion/kept_clipboard_history.h"
#include "core/settings/config_store.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/auth_server.h"

namespace lumivale::app {
namespace {

constexpr int deadline = 90'000;
using testing::findButton;

// The settings row of the Desk pane for `id`, and one of its parts.
template <class Part>
Part* deskPart(QWidget* window, const char* id, const char* part = nullptr) {
  auto* row = window->findChild<QWidget*>(id);
  if (!row) return nullptr;
  return part ? row->findChild<Part*>(part) : row->findChild<Part*>();
}

QStringList names(const FilesController& files) {
  QStringList names;
  for (const RemoteEntry& entry : files.entries())
    names << QString::fromStdString(entry.name);
  return names;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

class AppWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    QCOMPARE(QGuiApplication::platformName(), "xcb");
    setting_ = std::make_unique<testing::AppTestSetting>();
    // Something to list in the Files pane.
    setting_->tablet().shell(
        "mkdir -p /sdcard/Download /sdcard/Documents && echo notes > /sdcard/Documents/notes.txt");
    if (!testing::secretServiceMissing()) {
      server_ = std::make_unique<testing::AuthServer>();
      ConfigStore::update(
          [&](LumivaleConfig& config) { config.portmarkBaseUrl = server_->baseUrl(); });
    }
    // A Reading folder and a clipboard history, for their panes to show something.
    const std::filesystem::path reading = local_.path() / "Reading";
    std::filesystem::create_directories(reading / "Papers");
    std::ofstream(reading / "Papers" / "field notes.txt") << "notes";
    std::ofstream(reading / "reading list.md") << "# To read";
    companion::AppSettingsStore::standard().update(
        [&](companion::AppSettings& settings) { settings.readingFolderPath = reading; });
    companion::recordClipboardCopy("https://example.com/an-article",
                                   ClipboardHistory::Origin::fromMac);
    companion::recordClipboardCopy("Meet at the library at four",
                                   ClipboardHistory::Origin::fromLumivale);
    std::filesystem::create_directories(testing::screenshotFolder());
    parts_ = std::make_unique<AppParts>();
    window_ = parts_->makeWindow();
    window_->show();
    QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
    parts_->start();
    QTRY_VERIFY_WITH_TIMEOUT(parts_->tracker.view().ready(), deadline);
  }

  void cleanupTestCase() {
    window_.reset();
    parts_.reset();
    server_.reset();
    setting_.reset();
  }

  void everyPaneIsDrawnAndKeptAsAScreenshot() {
    QTRY_VERIFY_WITH_TIMEOUT(parts_->devices.facts().has_value(), deadline);
    QSignalSpy taken(&parts_->devices, &DevicesController::screenshotTaken);
    window_->showPane("Devices");
    QTest::mouseClick(findButton(window_->pane("Devices"), "Take a screenshot"), Qt::LeftButton);
    QVERIFY(taken.wait(deadline));
    auto* picture = window_->pane("Devices")->findChild<QLabel*>("screenshot");
    QVERIFY(picture && !picture->pixmap().isNull());
    QTRY_VERIFY_WITH_TIMEOUT(parts_->desk.setting("warmth").read, deadline);
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->account.busy(), deadline);
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->files.entries().empty(), deadline);
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->settings.setup().adbs.empty(), deadline);
    QTRY_VERIFY_WITH_TIMEOUT(parts_->readingFolder.plan().has_value(), deadline);
    QTRY_COMPARE_WITH_TIMEOUT(parts_->clipboard.history().size(), size_t(2), deadline);
    for (const QString& name : window_->paneNames()) {
      window_->showPane(name);
      QCOMPARE(window_->currentPane(), name);
      QVERIFY(window_->pane(name)->isVisible());
      QImage shot = window_->grab().toImage();
      QVERIFY(!shot.isNull());
      QString file = QString::fromStdString(testing::screenshotFolder().string()) + "/" +
                     QString(name).replace(' ', '-') + ".png";
      QVERIFY2(shot.save(file, "PNG"), qPrintable(file));
    }
  }

  void theSidebarIsWorkedByKeyboardAndEveryControlIsNamed() {
    window_->showPane("Devices");
    window_->sidebar()->setFocus();
    QTest::keyClick(window_->sidebar(), Qt::Key_Down);
    QCOMPARE(window_->currentPane(), "Desk");
    QTest::keyClick(window_->sidebar(), Qt::Key_End);
    QCOMPARE(window_->currentPane(), "Settings");
    // Ctrl+N reaches the Nth pane from wherever the focus is.
    window_->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window_.get()));
    QTest::keyClick(window_->pane("Settings"), Qt::Key_3, Qt::ControlModifier);
    QCOMPARE(window_->currentPane(), "Files");

    QStringList unnamed;
    auto check = [&](QWidget* control) {
      if (control->accessibleName().isEmpty()) unnamed << control->metaObject()->className();
    };
    for (auto* control : window_->findChildren<QAbstractButton*>())
      check(control);
    for (auto* control : window_->findChildren<QSlider*>())
      check(control);
    for (auto* control : window_->findChildren<QComboBox*>())
      check(control);
    for (auto* control : window_->findChildren<QLineEdit*>())
      check(control);
    QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join(", ")));
  }

  void deskSlidersWriteWhenLetGoAndShowTheValueReadBack() {
    window_->showPane("Desk");
    auto* slider = deskPart<QSlider>(window_.get(), "warmth");
    auto* shown = deskPart<QLabel>(window_.get(), "warmth", "shown");
    QVERIFY(slider && shown);
    QSignalSpy changed(&parts_->desk, &DeskController::settingChanged);
    slider->setSliderDown(true);
    slider->setValue(77);
    QCOMPARE(changed.count(), 0);  // nothing is written while the slider is held
    slider->setSliderDown(false);
    QVERIFY(changed.wait(deadline));
    QCOMPARE(shown->text(), "77");
    QCOMPARE(setting_->warmth(), 77);

    // A failure shows beside its own setting.
    parts_->desk.set("home_app", SettingValue::choice("com.example.absent/.Home"));
    QVERIFY(changed.wait(deadline));
    auto* error = deskPart<QLabel>(window_.get(), "home_app", "error");
    QVERIFY(error);
    QCOMPARE(error->text(), "'home_app': com.example.absent/.Home is not installed on the tablet");
    QVERIFY(deskPart<QLabel>(window_.get(), "warmth", "error")->text().isEmpty());
  }

  void filesDroppedOnTheListingAreCopiedAskingAboutATakenName() {
    window_->showPane("Files");
    FilesController& files = parts_->files;
    files.open("/sdcard/Documents");
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("notes.txt"), deadline);
    auto* listing = window_->pane("Files")->findChild<FilesListing*>();
    QVERIFY(listing);
    testing::TemporaryFolder local;
    std::ofstream(local.path() / "notes.txt") << "notes from the computer";
    std::ofstream(local.path() / "fresh.txt") << "fresh";

    // Dropped from the desktop: one name taken, one free.
    QMimeData dragged;
    dragged.setUrls({QUrl::fromLocalFile(QString::fromStdString((local.path() / "notes.txt"))),
                     QUrl::fromLocalFile(QString::fromStdString((local.path() / "fresh.txt")))});
    const QPoint at = listing->viewport()->rect().center();
    QDragEnterEvent enter(at, Qt::CopyAction | Qt::MoveAction, &dragged, Qt::LeftButton,
                          Qt::NoModifier);
    QApplication::sendEvent(listing->viewport(), &enter);
    QVERIFY(enter.isAccepted());
    QCOMPARE(enter.dropAction(), Qt::CopyAction);
    QDropEvent drop(at, Qt::CopyAction | Qt::MoveAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(listing->viewport(), &drop);
    QVERIFY(drop.isAccepted());

    QMessageBox* question = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(
        (question = window_->pane("Files")->findChild<QMessageBox*>("nameTaken")) &&
            question->isVisible(),
        deadline);
    QVERIFY2(question->text().startsWith("notes.txt is already on the tablet"),
             qPrintable(question->text()));
    // The window stays usable while it asks, and the file after it waits for the answer.
    QVERIFY(!names(files).contains("fresh.txt"));
    QAbstractButton* keepBoth = findButton(question, "Keep both items");
    QVERIFY(keepBoth);
    QTest::mouseClick(keepBoth, Qt::LeftButton);

    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("fresh.txt"), deadline);
    QTRY_COMPARE_WITH_TIMEOUT(names(files).filter("notes").size(), 2, deadline);
    const auto documents = setting_->tablet().storageFolder() / "Documents";
    QCOMPARE(contentOf(documents / "notes.txt"), "notes\n");
    for (const QString& name : names(files).filter("notes"))
      if (name != "notes.txt")
        QCOMPARE(contentOf(documents / name.toStdString()), "notes from the computer");
  }

  void filesShowsThumbnailsOfTheRowsInViewAndOffersLeftovers() {
    testing::TemporaryFolder local;
    QImage picture(QSize(320, 240), QImage::Format_RGB32);
    picture.fill(Qt::red);
    QVERIFY(picture.save(QString::fromStdString(local.path() / "photo.png"), "PNG"));
    QCOMPARE(setting_->tablet()
                 .adb({"push", (local.path() / "photo.png").string(), "/sdcard/Pictures/photo.png"})
                 .status,
             0);
    // The remains of a copy that stopped long ago.
    setting_->tablet().shell(
        "cd /sdcard/Pictures && echo part > .lumivale-partial-0a1b2c3d && "
        "touch -t 202001010000 .lumivale-partial-0a1b2c3d");
    window_->showPane("Files");
    parts_->files.open("/sdcard/Pictures");
    QWidget* pane = window_->pane("Files");
    auto* listing = pane->findChild<FilesListing*>();
    auto* leftovers = pane->findChild<QLabel*>("leftovers");
    QTRY_VERIFY_WITH_TIMEOUT(leftovers->isVisible(), deadline);
    QVERIFY2(leftovers->text().startsWith("This folder holds 1 leftover of copies"),
             qPrintable(leftovers->text()));
    QCOMPARE(listing->topLevelItemCount(), 1);

    // The pane asks for the rows in view; the picture becomes the row's icon.
    auto shownColour = [&] {
      QTreeWidgetItem* row = listing->topLevelItem(0);
      return row ? row->icon(0).pixmap(32).toImage().pixelColor(16, 16) : QColor();
    };
    QTRY_COMPARE_WITH_TIMEOUT(shownColour(), QColor(Qt::red), deadline);
    QVERIFY(window_->grab().save(QString(LUMIVALE_APP_SCREENSHOTS) + "/Files-pictures.png"));

    QTest::mouseClick(findButton(pane, "Clean up the leftovers"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!leftovers->isVisible(), deadline);
    QCOMPARE(pane->findChild<QLabel*>("said")->text(), "1 leftover erased, 0 put back.");
  }

  void deskProfilesApplyAndRestoreFromThePane() {
    window_->showPane("Desk");
    QWidget* pane = window_->pane("Desk");
    auto brightness = [&] {
      return std::stoi(
          setting_->tablet().shell("settings get system screen_brightness").stdoutData);
    };
    const int brightnessBefore = brightness();
    const int warmthBefore = setting_->warmth();
    auto* active = pane->findChild<QLabel*>("activeProfile");
    auto* outcome = pane->findChild<QLabel*>("profileOutcome");
    QVERIFY(active && outcome);
    QTRY_COMPARE_WITH_TIMEOUT(active->text(), "No profile is active.", deadline);
    auto* restore = findButton(pane, "Restore the settings from before the profile");
    QVERIFY(restore && !restore->isEnabled());

    QSignalSpy finished(&parts_->profiles, &ProfilesController::finished);
    QTest::mouseClick(findButton(pane, "Go to bed"), Qt::LeftButton);
    QVERIFY(finished.wait(deadline));
    QCOMPARE(setting_->warmth(), 220);
    QCOMPARE(brightness(), 20);
    QVERIFY2(active->text().startsWith("Go to bed since "), qPrintable(active->text()));
    QVERIFY2(outcome->text().contains("Warmth: now 220"), qPrintable(outcome->text()));
    // The settings below show what the profile wrote.
    QTRY_COMPARE_WITH_TIMEOUT(deskPart<QLabel>(window_.get(), "warmth", "shown")->text(), "220",
                              deadline);

    // Changed by hand since: left as it is, and said so; the rest go back.
    setting_->tablet().shell("settings put system screen_brightness 90");
    QVERIFY(restore->isEnabled());
    QTest::mouseClick(restore, Qt::LeftButton);
    QVERIFY(finished.wait(deadline));
    QCOMPARE(setting_->warmth(), warmthBefore);
    QCOMPARE(brightness(), 90);
    QVERIFY2(outcome->text().contains("Brightness: changed since, so left at 90"),
             qPrintable(outcome->text()));
    QCOMPARE(active->text(), "No profile is active.");
    QVERIFY(!restore->isEnabled());
    QVERIFY(brightnessBefore != 90);
  }

  void theWindowReopensOnThePaneAndAtTheSizeItWasLeft() {
    window_->showPane("Account");
    window_->resize(900, 600);
    QTRY_COMPARE_WITH_TIMEOUT(window_->width(), 900, deadline);
    window_->close();
    companion::AppSettings kept = companion::AppSettingsStore::standard().load();
    QVERIFY(kept.windowPane == "Account");
    QVERIFY(kept.windowWidth == 900);

    auto again = parts_->makeWindow();
    QCOMPARE(again->currentPane(), "Account");
    QCOMPARE(again->width(), 900);
    QCOMPARE(again->height(), kept.windowHeight.value());
  }

 private:
  testing::TemporaryFolder local_;
  std::unique_ptr<testing::AppTestSetting> setting_;
  std::unique_ptr<testing::AuthServer> server_;
  std::unique_ptr<AppParts> parts_;
  std::unique_ptr<MainWindow> window_;
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppWindowTest)
#include "app_window_test.moc"
