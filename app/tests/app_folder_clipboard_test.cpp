// The Reading folder's and the clipboard's controllers against a stand-in tablet through the
// real adb, driven as their panes drive them, with a private clipboard file standing for the
// computer's; then both panes drawn by X (Xvfb), worked by their buttons and kept as
// screenshots.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <QLabel>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>
#include <nlohmann/json.hpp>

#include "app/shell/app_parts.h"
#include "app/tests/app_test_setting.h"
#include "companion/app_settings_store.h"
#include "companion/kept_clipboard_history.h"
#include "core/files/reading-folder/reading_folder_note.h"
#include "platform/file_pasteboard.h"
#include "platform/system_pasteboard.h"

namespace lumivale::app {
namespace {

namespace fs = std::filesystem;
using Plan = ReadingFolderPlan;

// Generous: adb, the stand-in and the helper's JVM share two cores with everything else.
constexpr int deadline = 120'000;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <class Step>
int countOf(const std::vector<Plan::Action>& actions) {
  int count = 0;
  for (const Plan::Action& action : actions)
    count += std::holds_alternative<Step>(action) ? 1 : 0;
  return count;
}

bool hasNote(const std::vector<ReadingFolderNote>& notes, std::string_view sentence) {
  for (const ReadingFolderNote& note : notes)
    if (note.sentence == sentence) return true;
  return false;
}

// Whether a staged copy has begun to arrive somewhere under `folder`.
bool arriving(const fs::path& folder) {
  std::error_code error;
  for (const auto& item : fs::recursive_directory_iterator(folder, error))
    if (item.path().filename().string().rfind(".lumivale-", 0) == 0 &&
        item.is_regular_file(error) && item.file_size(error) > 0)
      return true;
  return false;
}

QPushButton* buttonNamed(QWidget* pane, const QString& accessibleName) {
  for (auto* button : pane->findChildren<QPushButton*>())
    if (button->accessibleName() == accessibleName) return button;
  return nullptr;
}

QStringList rowTexts(const QTreeWidget* tree, int column) {
  QStringList texts;
  for (int row = 0; row < tree->topLevelItemCount(); ++row)
    texts << tree->topLevelItem(row)->text(column);
  return texts;
}

// Named apart from the window test's screenshots of the same panes, which show them fresh.
void keepScreenshot(QWidget* window, const QString& name) {
  const QString file =
      QString::fromStdString((testing::screenshotFolder() / name.toStdString()).string());
  QVERIFY2(window->grab().toImage().save(file, "PNG"), qPrintable(file));
}

}  // namespace

class AppFolderClipboardTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    ::setenv(SystemPasteboard::environmentKey, pasteboardFile().c_str(), 1);
    setting_ = std::make_unique<testing::AppTestSetting>();
    parts_ = std::make_unique<AppParts>();
    parts_->start();
    QTRY_VERIFY_WITH_TIMEOUT(parts_->tracker.view().ready(), deadline);
  }

  void cleanupTestCase() {
    parts_.reset();
    setting_.reset();
  }

  void theFolderIsChosenPlannedSyncedAndSummed() {
    ReadingFolderController& folder = parts_->readingFolder;
    QSignalSpy failed(&folder, &ReadingFolderController::failed);
    folder.chooseFolder("/");
    QVERIFY(failed.wait(deadline));
    QCOMPARE(failed.takeFirst().at(0).toString(),
             "/ is too big to be a reading folder; choose a folder of documents, such as one "
             "inside Documents");
    folder.chooseTabletFolder("/sdcard/.hidden");
    QVERIFY(failed.wait(deadline));
    QCOMPARE(failed.takeFirst().at(0).toString(),
             "the folder on the Lumivale cannot be a hidden one ('.hidden')");

    const fs::path reading = local_.path() / "Reading";
    fs::create_directories(reading / "sub");
    std::ofstream(reading / "a.txt") << "alpha";
    std::ofstream(reading / "sub" / "b.txt") << "beta";
    fs::create_symlink(reading / "a.txt", reading / "link.txt");
    folder.chooseTabletFolder("/sdcard/Documents/App Reading");
    folder.chooseFolder(QString::fromStdString(reading.string()));
    QTRY_VERIFY_WITH_TIMEOUT(folder.plan() && folder.choice().readingFolderPath, deadline);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    // The command line reads the same choice.
    companion::AppSettings kept = companion::AppSettingsStore::standard().load();
    QVERIFY(kept.readingFolderPath == fs::canonical(reading));
    QVERIFY(kept.readingFolderTabletFolder == "/sdcard/Documents/App Reading");

    // The preview: every action and note, nothing done yet.
    const Plan plan = *folder.plan();
    QCOMPARE(countOf<Plan::Copy>(plan.actions), 2);
    QCOMPARE(countOf<Plan::MakeFolder>(plan.actions), 1);
    QVERIFY(hasNote(plan.notes, NoteText::link));
    const fs::path onTablet = setting_->tablet().storageFolder() / "Documents" / "App Reading";
    QVERIFY(!fs::exists(onTablet / "a.txt"));

    QSignalSpy progressed(&folder, &ReadingFolderController::syncProgressed);
    QSignalSpy ended(&folder, &ReadingFolderController::syncEnded);
    folder.syncNow();
    QVERIFY(folder.syncing());
    QVERIFY(ended.wait(deadline));
    QVERIFY(!folder.syncing());
    QVERIFY(progressed.count() > 0);
    QVERIFY(folder.lastSummary());
    const ReadingFolderSummary& summary = *folder.lastSummary();
    QCOMPARE(summary.copied, 2);
    QVERIFY(summary.failures.empty());
    QVERIFY(hasNote(summary.notes, NoteText::link));
    QCOMPARE(folder.lastResult(),
             "2 copied, 0 replaced, 0 kept beside a copy changed on the tablet, 0 removed, "
             "0 unchanged, 0 failed");
    QCOMPARE(QString::fromStdString(contentOf(onTablet / "a.txt")), "alpha");
    QCOMPARE(QString::fromStdString(contentOf(onTablet / "sub" / "b.txt")), "beta");
    // The plan is made again after the run: nothing left to do.
    QTRY_VERIFY_WITH_TIMEOUT(folder.plan() && folder.plan()->unchanged == 2, deadline);
    QVERIFY(folder.plan()->actions.empty());

    folder.setRemoveDeleted(true);
    QTRY_VERIFY_WITH_TIMEOUT(folder.choice().readingFolderRemoveDeleted, deadline);
    fs::remove(reading / "a.txt");
    folder.makePlan();
    QTRY_VERIFY_WITH_TIMEOUT(folder.plan() && countOf<Plan::Remove>(folder.plan()->actions) == 1,
                             deadline);
  }

  void aCancelledSyncLeavesNoHalfFileAndTheNextOneFinishes() {
    ReadingFolderController& folder = parts_->readingFolder;
    QVERIFY(folder.choice().readingFolderPath);
    const fs::path big = *folder.choice().readingFolderPath / "big.bin";
    std::ofstream(big, std::ios::binary) << std::string(96 * 1024 * 1024, 'b');
    const fs::path onTablet = setting_->tablet().storageFolder() / "Documents" / "App Reading";

    QSignalSpy ended(&folder, &ReadingFolderController::syncEnded);
    folder.syncNow();
    // Held up on the tablet's side once part of it has arrived, the run is surely midway
    // when the cancel comes.
    QTRY_VERIFY_WITH_TIMEOUT(arriving(onTablet) || ended.count() > 0, deadline);
    setting_->tablet().freeze();
    const bool midway = ended.isEmpty();
    folder.cancel();
    setting_->tablet().thaw();
    QTRY_VERIFY_WITH_TIMEOUT(ended.count() > 0, deadline);
    if (!midway) QSKIP("the run ended before it could be held up");
    QVERIFY2(folder.lastResult().startsWith("cancelled"), qPrintable(folder.lastResult()));
    QVERIFY(!folder.lastSummary());
    // Never a half-written file under its own name.
    QVERIFY(!fs::exists(onTablet / "big.bin") ||
            fs::file_size(onTablet / "big.bin") == fs::file_size(big));

    folder.syncNow();
    QVERIFY(ended.wait(deadline));
    QVERIFY2(folder.lastSummary() && folder.lastSummary()->failures.empty(),
             qPrintable(folder.lastResult()));
    QCOMPARE(fs::file_size(onTablet / "big.bin"), fs::file_size(big));
    QVERIFY(!fs::exists(onTablet / "a.txt"));  // removed: deleted here, unchanged there
  }

  void aWatchedFolderCarriesANewFileToTheTabletByItself() {
    ReadingFolderController& folder = parts_->readingFolder;
    QVERIFY(folder.choice().readingFolderPath);
    const fs::path reading = *folder.choice().readingFolderPath;
    const fs::path onTablet = setting_->tablet().storageFolder() / "Documents" / "App Reading";
    QStringList said;
    connect(&folder, &ReadingFolderController::watchChanged, this,
            [&] { said << folder.lastResult(); });

    folder.setWatched(true);
    QTRY_VERIFY_WITH_TIMEOUT(folder.watching(), deadline);
    QVERIFY(companion::AppSettingsStore::standard().load().readingFolderWatched);
    // The first look ends before the file is written, so only a change seen here carries it.
    QTRY_VERIFY_WITH_TIMEOUT(
        said.contains("syncing (first look)") && said.last().endsWith("failed"), deadline);
    std::ofstream(reading / "watched.txt") << "seen";
    QTRY_VERIFY_WITH_TIMEOUT(said.contains("syncing (changes here)"), deadline);
    QTRY_VERIFY_WITH_TIMEOUT(folder.lastResult().startsWith("1 copied"), deadline);
    QCOMPARE(QString::fromStdString(contentOf(onTablet / "watched.txt")), "seen");
    QVERIFY2(folder.lastSummary() && folder.lastSummary()->failures.empty(),
             qPrintable(folder.lastResult()));

    {
      // Another window's controller reads the switch on and watches too; going, it stops
      // its watch and waits for it.
      ReadingFolderController other(parts_->tracker);
      QTRY_VERIFY_WITH_TIMEOUT(other.watching(), deadline);
    }

    folder.setWatched(false);
    QTRY_VERIFY_WITH_TIMEOUT(!folder.watching(), deadline);
    QCOMPARE(folder.lastResult(), "Watching stopped.");
    QVERIFY(!companion::AppSettingsStore::standard().load().readingFolderWatched);
    disconnect(&folder, &ReadingFolderController::watchChanged, this, nullptr);
  }

  void aSyncAskedForWhileTheTabletIsAwayIsRefusedWithItsStateSentence() {
    ReadingFolderController& folder = parts_->readingFolder;
    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->tracker.view().ready(), deadline);
    QSignalSpy failed(&folder, &ReadingFolderController::failed);
    folder.syncNow();
    QCOMPARE(failed.count(), 1);
    QVERIFY(failed.at(0).at(0).toString().toStdString() ==
            parts_->tracker.view().state.refusal().value());
    QVERIFY(!folder.syncing());

    // Back again, the plan is made again by itself.
    QSignalSpy planned(&folder, &ReadingFolderController::planned);
    setting_->tablet().connect();
    QTRY_VERIFY_WITH_TIMEOUT(parts_->tracker.view().ready(), deadline);
    QVERIFY(planned.count() > 0 || planned.wait(deadline));
    QVERIFY(folder.plan());
  }

  void theHistoryIsCopiedAgainToEitherSideAndItsRowsStayPut() {
    const auto now = std::chrono::system_clock::now();
    QVERIFY(!companion::recordClipboardCopy("older text", ClipboardHistory::Origin::sentToLumivale,
                                            now - std::chrono::minutes(1)));
    QVERIFY(!companion::recordClipboardCopy("newer text", ClipboardHistory::Origin::fromMac, now));
    ClipboardController& clipboard = parts_->clipboard;
    clipboard.load();
    QTRY_COMPARE_WITH_TIMEOUT(clipboard.history().size(), size_t(2), deadline);
    QCOMPARE(clipboard.history()[0].text, "newer text");
    QVERIFY(clipboard.history()[1].origin == ClipboardHistory::Origin::sentToLumivale);
    const std::string older = clipboard.history()[1].id;

    QSignalSpy copied(&clipboard, &ClipboardController::copied);
    QSignalSpy failed(&clipboard, &ClipboardController::failed);
    clipboard.copy(older, CopyDestination::tablet);
    QTRY_VERIFY_WITH_TIMEOUT(copied.count() + failed.count() > 0, deadline);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    QCOMPARE(QString::fromStdString(tabletText()), "older text");
    clipboard.copy(older, CopyDestination::computer);
    QTRY_COMPARE_WITH_TIMEOUT(copied.count() + failed.count(), 2, deadline);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    QCOMPARE(QString::fromStdString(computerText()), "older text");
    QCOMPARE(copied.at(1).at(0).toString(), "Copied to this computer's clipboard.");
    // Copying again records nothing: the row keeps its place.
    clipboard.load();
    QTRY_VERIFY_WITH_TIMEOUT(!clipboard.history().empty(), deadline);
    QCOMPARE(clipboard.history().size(), size_t(2));
    QCOMPARE(clipboard.history()[1].id, older);

    clipboard.remove(older);
    QTRY_COMPARE_WITH_TIMEOUT(clipboard.history().size(), size_t(1), deadline);
    QCOMPARE(savedRows(), size_t(1));

    // Not kept: the file goes at once, the rows stay until the app quits.
    const fs::path file = companion::standardClipboardHistoryStore().fileURL();
    clipboard.setKept(false);
    QTRY_VERIFY_WITH_TIMEOUT(!clipboard.kept(), deadline);
    QVERIFY(!fs::exists(file));
    QCOMPARE(clipboard.history().size(), size_t(1));
    clipboard.setKept(true);
    QTRY_VERIFY_WITH_TIMEOUT(clipboard.kept(), deadline);
    QCOMPARE(savedRows(), size_t(1));

    clipboard.clear();
    QTRY_VERIFY_WITH_TIMEOUT(clipboard.history().empty(), deadline);
    QVERIFY(!fs::exists(file));
  }

  void sharingCarriesCopiesBothWaysIntoTheHistoryUntilItIsTurnedOff() {
    ClipboardController& clipboard = parts_->clipboard;
    QCOMPARE(clipboard.statusLine(), "Off");
    QSignalSpy status(&clipboard, &ClipboardController::statusChanged);
    clipboard.setSharing(true);
    QVERIFY(clipboard.sharing());
    QCOMPARE(status.at(0).at(1).toString(), "Sharing \u00b7 starting");
    QTRY_VERIFY_WITH_TIMEOUT(clipboard.statusLine().startsWith("On over USB"), deadline);
    QCOMPARE(clipboard.sidebarText(), QString());
    QTRY_VERIFY_WITH_TIMEOUT(companion::AppSettingsStore::standard().load().sharedClipboardEnabled,
                             deadline);

    FilePasteboard(pasteboardFile()).copy({{FilePasteboard::textFormat, "from the computer"}});
    QTRY_COMPARE_WITH_TIMEOUT(QString::fromStdString(tabletText()), "from the computer", deadline);
    setting_->tablet().copyOnTablet(nlohmann::json{{"text", "from the tablet"}}.dump());
    QTRY_COMPARE_WITH_TIMEOUT(QString::fromStdString(computerText()), "from the tablet", deadline);
    QTRY_COMPARE_WITH_TIMEOUT(clipboard.history().size(), size_t(2), deadline);
    QCOMPARE(clipboard.history()[0].text, "from the tablet");
    QVERIFY(clipboard.history()[0].origin == ClipboardHistory::Origin::fromLumivale);
    QVERIFY(clipboard.history()[1].origin == ClipboardHistory::Origin::fromMac);
    QVERIFY2(clipboard.statusLine().contains("last copy"), qPrintable(clipboard.statusLine()));

    // The tablet gone a while: the line says the link waits, and it carries copies again once
    // the tablet is back.
    status.clear();
    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->tracker.view().ready(), deadline);
    setting_->tablet().connect();
    QTRY_VERIFY_WITH_TIMEOUT(
        !status.isEmpty() && status.last().at(0).toString().startsWith("On over USB"), deadline);
    bool waited = false;
    for (const QList<QVariant>& shown : status)
      waited = waited || shown.at(0).toString() == "Waiting for your Lumivale";
    QVERIFY(waited);
    FilePasteboard(pasteboardFile()).copy({{FilePasteboard::textFormat, "after the return"}});
    QTRY_COMPARE_WITH_TIMEOUT(QString::fromStdString(tabletText()), "after the return", deadline);

    clipboard.setSharing(false);
    QCOMPARE(clipboard.statusLine(), "Off");
    QTRY_VERIFY_WITH_TIMEOUT(!companion::AppSettingsStore::standard().load().sharedClipboardEnabled,
                             deadline);
  }

  void bothPanesShowTheirRowsAndWorkByTheirButtons() {
    fs::create_directories(testing::screenshotFolder());
    auto window = parts_->makeWindow();
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));

    window->showPane("Reading folder");
    QWidget* folderPane = window->pane("Reading folder");
    std::ofstream(*parts_->readingFolder.choice().readingFolderPath / "new.txt") << "new";
    QTest::mouseClick(buttonNamed(folderPane, "Make the plan again"), Qt::LeftButton);
    auto* plan = folderPane->findChild<QTreeWidget*>("plan");
    QTRY_VERIFY_WITH_TIMEOUT(rowTexts(plan, 1).contains("new.txt"), deadline);
    QVERIFY(rowTexts(plan, 0).contains("note"));
    // b.txt, big.bin and watched.txt are there already.
    QCOMPARE(folderPane->findChild<QLabel*>("counts")->text(), "1 to do, 3 unchanged, 0 held back");
    QTest::mouseClick(buttonNamed(folderPane, "Sync now"), Qt::LeftButton);
    auto* lastResult = folderPane->findChild<QLabel*>("lastResult");
    QTRY_VERIFY_WITH_TIMEOUT(lastResult->text().startsWith("1 copied"), deadline);
    auto* lastNotes = folderPane->findChild<QListWidget*>("lastNotes");
    QVERIFY(
        !lastNotes
             ->findItems(QString::fromStdString("note: link.txt: " + std::string(NoteText::link)),
                         Qt::MatchExactly)
             .isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(rowTexts(plan, 0) == QStringList{"note"}, deadline);
    keepScreenshot(window.get(), "Reading-folder-synced.png");

    // Typed on the tablet by the command line meanwhile: listed once the pane is opened.
    QVERIFY(!companion::recordClipboardCopy("typed", ClipboardHistory::Origin::typedOnLumivale));
    window->showPane("Clipboard");
    QWidget* clipboardPane = window->pane("Clipboard");
    auto* history = clipboardPane->findChild<QTreeWidget*>("history");
    QTRY_COMPARE_WITH_TIMEOUT(history->topLevelItemCount(), 4, deadline);
    QCOMPARE(rowTexts(history, 2),
             (QStringList{"typed", "after the return", "from the tablet", "from the computer"}));
    QCOMPARE(rowTexts(history, 0), (QStringList{"Typed on your Lumivale", "Copied on your Mac",
                                                "Copied on your Lumivale", "Copied on your Mac"}));
    QCOMPARE(history->topLevelItem(2)->text(3), "15 characters");
    history->setCurrentItem(history->topLevelItem(3));
    // A copy arriving meanwhile puts a row above: the chosen one stays chosen.
    QVERIFY(!companion::recordClipboardCopy("arrived", ClipboardHistory::Origin::fromMac));
    parts_->clipboard.load();
    QTRY_COMPARE_WITH_TIMEOUT(history->topLevelItemCount(), 5, deadline);
    QVERIFY(history->currentItem());
    QCOMPARE(history->currentItem()->text(2), "from the computer");
    QTest::mouseClick(buttonNamed(clipboardPane, "Copy to the tablet's clipboard"), Qt::LeftButton);
    auto* said = clipboardPane->findChild<QLabel*>("said");
    QTRY_COMPARE_WITH_TIMEOUT(said->text(), "Copied to the tablet's clipboard.", deadline);
    QCOMPARE(QString::fromStdString(tabletText()), "from the computer");
    QCOMPARE(clipboardPane->findChild<QLabel*>("status")->text(), "Off");
    keepScreenshot(window.get(), "Clipboard-copied.png");
  }

  // Without a private clipboard, Copy to computer reaches the desktop's through the app's
  // own Qt, from its worker; another program (xclip) then reads it.
  void copyToComputerReachesTheDesktopClipboard() {
    ::unsetenv(SystemPasteboard::environmentKey);
    QVERIFY(!companion::recordClipboardCopy("for the desktop", ClipboardHistory::Origin::fromMac,
                                            std::chrono::system_clock::now()));
    ClipboardController& clipboard = parts_->clipboard;
    clipboard.load();
    QTRY_VERIFY_WITH_TIMEOUT(
        !clipboard.history().empty() && clipboard.history()[0].text == "for the desktop", deadline);
    QSignalSpy copied(&clipboard, &ClipboardController::copied);
    QSignalSpy failed(&clipboard, &ClipboardController::failed);
    clipboard.copy(clipboard.history()[0].id, CopyDestination::computer);
    QTRY_VERIFY_WITH_TIMEOUT(copied.count() + failed.count() > 0, deadline);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    // The app answers xclip's request on its main thread, so the event loop keeps running.
    QProcess xclip;
    xclip.start("xclip", {"-selection", "clipboard", "-o"});
    QTRY_VERIFY_WITH_TIMEOUT(xclip.state() == QProcess::NotRunning, deadline);
    QCOMPARE(xclip.readAllStandardOutput(), QByteArray("for the desktop"));
    ::setenv(SystemPasteboard::environmentKey, pasteboardFile().c_str(), 1);
  }

 private:
  std::string pasteboardFile() const { return (local_.path() / "pasteboard.json").string(); }
  std::string computerText() const {
    FilePasteboard pasteboard(pasteboardFile());
    pasteboard.changeCount();
    auto content = pasteboard.read();
    return content.kind == PasteboardContent::Kind::text ? content.text : "";
  }
  std::string tabletText() const {
    const std::string record = setting_->tablet().clipboardRecord();
    return record.empty() ? "" : nlohmann::json::parse(record).value("text", "");
  }
  static size_t savedRows() {
    auto loaded = companion::KeptClipboardHistory::standard().load();
    return std::get<ClipboardHistory>(loaded).items().size();
  }

  testing::TemporaryFolder local_;
  std::unique_ptr<testing::AppTestSetting> setting_;
  std::unique_ptr<AppParts> parts_;
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppFolderClipboardTest)
#include "app_folder_clipboard_test.moc"
