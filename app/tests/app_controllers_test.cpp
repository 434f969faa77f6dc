// The app's controllers against a stand-in tablet through the real adb, and the real
// account server, each driven as its pane drives it.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <QPainter>
#include <QPdfWriter>
#include <QSignalSpy>
#include <QTest>
#include <nlohmann/json.hpp>

#include "app/shell/app_parts.h"
#include "app/shell/tablet_gate.h"
#include "app/tests/app_test_setting.h"
#include "core/account/auth_messages.h"
#include "core/settings/config_store.h"
#include "core/tablet/tablet_state.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/auth_server.h"

namespace lumivale::app {
namespace {

// Generous: adb and the stand-in share two cores with everything else.
constexpr int deadline = 90'000;

nlohmann::json settingsFile() {
  std::ifstream file(ConfigStore::fileURL());
  return nlohmann::json::parse(file);
}

QStringList names(const FilesController& files) {
  QStringList names;
  for (const RemoteEntry& entry : files.entries())
    names << QString::fromStdString(entry.name);
  return names;
}

// Whether a staged copy has begun to arrive in `folder` (as the tablet stores it).
bool arriving(const std::filesystem::path& folder) {
  std::error_code error;
  for (const auto& item : std::filesystem::directory_iterator(folder, error))
    if (item.path().filename().string().rfind(".lumivale-partial-", 0) == 0 &&
        item.is_regular_file(error) && item.file_size(error) > 0)
      return true;
  return false;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

RemoteEntry entryNamed(const FilesController& files, const std::string& name) {
  for (const RemoteEntry& entry : files.entries())
    if (entry.name == name) return entry;
  return {};
}

void writePicture(const std::filesystem::path& file, QSize size, QColor colour) {
  QImage picture(size, QImage::Format_RGB32);
  picture.fill(colour);
  picture.save(QString::fromStdString(file.string()), "PNG");
}

void writePdf(const std::filesystem::path& file) {
  QPdfWriter writer(QString::fromStdString(file.string()));
  QPainter(&writer).fillRect(0, 0, writer.width(), writer.height() / 2, Qt::black);
}

}  // namespace

class AppControllersTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    setting_ = std::make_unique<testing::AppTestSetting>();
    if (!testing::secretServiceMissing()) {
      server_ = std::make_unique<testing::AuthServer>();
      ConfigStore::update(
          [&](LumivaleConfig& config) { config.portmarkBaseUrl = server_->baseUrl(); });
    }
    parts_ = std::make_unique<AppParts>();
    parts_->start();
    QTRY_VERIFY_WITH_TIMEOUT(parts_->tracker.view().ready(), deadline);
  }

  void cleanupTestCase() {
    parts_.reset();
    server_.reset();
    setting_.reset();
  }

  void devicesChoosesReadsWakesAndTakesAScreenshot() {
    DevicesController& devices = parts_->devices;
    const std::string serial = setting_->tablet().serial();
    QTRY_VERIFY_WITH_TIMEOUT(devices.facts().has_value(), deadline);
    QCOMPARE(QString::fromStdString(devices.facts()->model), "LV-1");
    QVERIFY(parts_->tracker.view().serial == serial);

    QSignalSpy looked(&parts_->tracker, &TabletTracker::changed);
    devices.choose(QString::fromStdString(serial));
    QVERIFY(looked.wait(deadline));
    QVERIFY(settingsFile()["deviceSerial"] == serial);
    QVERIFY(parts_->tracker.view().chosen == serial);

    QSignalSpy woken(&devices, &DevicesController::woken);
    devices.wake();
    QVERIFY(woken.wait(deadline));

    QSignalSpy taken(&devices, &DevicesController::screenshotTaken);
    devices.takeScreenshot();
    QVERIFY(taken.wait(deadline));
    QVERIFY(devices.screenshot().startsWith("\x89PNG"));
    testing::TemporaryFolder folder;
    QString file = QString::fromStdString((folder.path() / "screen.png").string());
    QSignalSpy saved(&devices, &DevicesController::screenshotSaved);
    devices.saveScreenshot(file);
    QVERIFY(saved.wait(deadline));
    QFile written(file);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), devices.screenshot());
  }

  void deskWritesReadsBackAndShowsEachSettingsOwnFailure() {
    DeskController& desk = parts_->desk;
    QTRY_VERIFY_WITH_TIMEOUT(desk.setting("warmth").read, deadline);

    QSignalSpy changed(&desk, &DeskController::settingChanged);
    desk.set("warmth", SettingValue::level(123));
    QVERIFY(changed.wait(deadline));
    QCOMPARE(changed.takeFirst().at(0).toString(), "warmth");
    QVERIFY(desk.setting("warmth").value == SettingValue::level(123));
    QCOMPARE(setting_->warmth(), 123);

    desk.set("home_app", SettingValue::choice("com.example.absent/.Home"));
    QVERIFY(changed.wait(deadline));
    QVERIFY(desk.setting("home_app").error ==
            "'home_app': com.example.absent/.Home is not installed on the tablet");
    // A failure on one setting leaves the others as they were.
    QVERIFY(!desk.setting("warmth").error);

    desk.set("density", SettingValue::level(250));
    QVERIFY(changed.wait(deadline));
    QVERIFY(desk.setting("density").value == SettingValue::level(250));
    desk.reset("density");
    QVERIFY(changed.wait(deadline));
    QVERIFY(desk.setting("density").value != SettingValue::level(250));
    QVERIFY(!desk.setting("density").error);
  }

  void aPaneRefusesWhileTheTabletIsGoneAndComesBackByItself() {
    QWidget* content = new QWidget;
    TabletGate gate(parts_->tracker, content);
    QCOMPARE(gate.currentWidget(), content);

    setting_->tablet().disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!parts_->tracker.view().ready(), deadline);
    QVERIFY(gate.refusal().toStdString() == parts_->tracker.view().state.refusal().value());
    // The tablet was chosen above: it is the chosen one that is away.
    QVERIFY(parts_->tracker.view().state == TabletState::chosenAway);
    // Work asked for meanwhile is refused with the same sentence, never sent.
    QSignalSpy failed(&parts_->devices, &DevicesController::failed);
    parts_->devices.wake();
    QCOMPARE(failed.count(), 1);
    QCOMPARE(failed.at(0).at(0).toString(), gate.refusal());

    QSignalSpy read(&parts_->desk, &DeskController::settingsRead);
    setting_->tablet().connect();
    QTRY_VERIFY_WITH_TIMEOUT(parts_->tracker.view().ready(), deadline);
    QCOMPARE(gate.currentWidget(), content);
    QCOMPARE(gate.refusal(), QString());
    // The panes read the tablet again on their own.
    QVERIFY(read.count() > 0 || read.wait(deadline));
    QTRY_VERIFY_WITH_TIMEOUT(parts_->devices.facts().has_value(), deadline);
  }

  void accountSignsUpOutAndInSayingEachFailureAsItStands() {
    if (auto reason = testing::secretServiceMissing()) QSKIP(reason->c_str());
    AccountController& account = parts_->account;
    QSignalSpy changed(&account, &AccountController::changed);
    QSignalSpy failed(&account, &AccountController::failed);
    const std::string email = testing::uniqueEmail("app");

    account.signIn({email, testing::testPassword, "Ada", true});
    QTRY_VERIFY_WITH_TIMEOUT(!account.busy() && account.email(), deadline);
    QVERIFY(account.email() == email);
    QVERIFY(settingsFile()["email"] == email);

    account.signOut();
    QTRY_VERIFY_WITH_TIMEOUT(!account.busy() && !account.email(), deadline);
    QVERIFY(account.status() == "Signed out.");

    account.signIn({email, "not the password", std::nullopt, false});
    QVERIFY(failed.wait(deadline));
    QCOMPARE(failed.takeFirst().at(0).toString(),
             "That email and password do not match a Lumivale account. Check them and try again.");
    QVERIFY(!account.email());

    account.signIn({"not an address", testing::testPassword, std::nullopt, false});
    QVERIFY(failed.wait(deadline));
    QVERIFY(failed.takeFirst().at(0).toString().toStdString() == AuthMessages::notAnEmail);

    account.signIn({email, testing::testPassword, std::nullopt, false});
    QTRY_VERIFY_WITH_TIMEOUT(!account.busy() && account.email(), deadline);
    account.check();
    QTRY_VERIFY_WITH_TIMEOUT(!account.busy(), deadline);
    QVERIFY(account.email() == email);
  }

  void filesListsCopiesBothWaysAndChangesTheTabletsFolders() {
    FilesController& files = parts_->files;
    QSignalSpy listed(&files, &FilesController::listed);
    QSignalSpy failed(&files, &FilesController::failed);
    files.open("/sdcard/Pictures");
    QVERIFY(failed.wait(deadline));
    QCOMPARE(failed.takeFirst().at(0).toString(), "'/sdcard/Pictures' does not exist");
    setting_->tablet().shell("mkdir -p /sdcard/Download");
    files.open("/sdcard/Download");
    QTRY_VERIFY_WITH_TIMEOUT(listed.count() > 0 || failed.count() > 0, deadline);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    testing::TemporaryFolder local;
    const std::filesystem::path report = local.path() / "report.txt";
    std::ofstream(report) << "first copy";

    QSignalSpy ended(&files, &FilesController::transferEnded);
    files.pushFiles({report});
    QVERIFY(ended.wait(deadline));
    QCOMPARE(ended.takeFirst().at(0).toString(), "Copied report.txt to the tablet.");
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("report.txt"), deadline);

    // The same name again, with another file after it: the question comes, and nothing
    // more is copied until it is answered.
    const std::filesystem::path summary = local.path() / "summary.txt";
    std::ofstream(summary) << "summary";
    QSignalSpy taken(&files, &FilesController::nameTaken);
    ended.clear();
    files.pushFiles({report, summary});
    QVERIFY(taken.wait(deadline));
    QCOMPARE(taken.at(0).at(1).toString(), "report.txt");
    QCOMPARE(ended.count(), 1);
    QVERIFY(!files.transferring());
    files.answerTaken(CollisionPolicy::keepBoth);
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 3, deadline);
    QCOMPARE(ended.at(2).at(0).toString(), "Copied summary.txt to the tablet.");
    QTRY_COMPARE_WITH_TIMEOUT(names(files).filter("report").size(), 2, deadline);

    // Left alone: the name keeps its copy, and the one after it still goes.
    std::ofstream(report) << "second copy";
    std::filesystem::remove(summary);
    const std::filesystem::path notes = local.path() / "notes.txt";
    std::ofstream(notes) << "notes";
    ended.clear();
    files.pushFiles({report, notes});
    QVERIFY(taken.wait(deadline));
    files.answerTaken(std::nullopt);
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 2, deadline);
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("notes.txt"), deadline);
    QCOMPARE(QString::fromStdString(
                 contentOf(setting_->tablet().storageFolder() / "Download" / "report.txt")),
             "first copy");

    const std::filesystem::path pulled = local.path() / "pulled.txt";
    ended.clear();
    files.pull("/sdcard/Download/report.txt", pulled);
    QVERIFY(ended.wait(deadline));
    QCOMPARE(QString::fromStdString(contentOf(pulled)), "first copy");

    files.makeFolder("Notes");
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("Notes"), deadline);
    files.rename("/sdcard/Download/Notes", "Kept notes");
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("Kept notes"), deadline);
    QVERIFY(!names(files).contains("Notes"));
    files.remove("/sdcard/Download/Kept notes");
    QTRY_VERIFY_WITH_TIMEOUT(!names(files).contains("Kept notes"), deadline);

    setting_->tablet().shell("touch /sdcard/Download/.hidden");
    files.showHidden(true);
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains(".hidden"), deadline);
    files.showHidden(false);
    QTRY_VERIFY_WITH_TIMEOUT(!names(files).contains(".hidden"), deadline);

    files.sortBy(RemoteSort::Key::name, false);
    QVERIFY(files.entries().front().name > files.entries().back().name);
    QCOMPARE(files.crumbs().back().path, "/sdcard/Download");
  }

  void aCancelledCopyLeavesNothingBehind() {
    FilesController& files = parts_->files;
    files.open("/sdcard/Download");
    testing::TemporaryFolder local;
    const std::filesystem::path big = local.path() / "big.bin";
    std::ofstream(big, std::ios::binary) << std::string(256 * 1024 * 1024, 'b');

    QSignalSpy ended(&files, &FilesController::transferEnded);
    files.pushFiles({big});
    // Held up on the tablet's side once part of it has arrived, the copy is surely
    // midway when the cancel comes.
    const std::filesystem::path download = setting_->tablet().storageFolder() / "Download";
    QTRY_VERIFY_WITH_TIMEOUT(arriving(download) || ended.count() > 0, deadline);
    setting_->tablet().freeze();
    const bool midway = ended.isEmpty();
    files.cancelTransfer();
    setting_->tablet().thaw();
    QTRY_VERIFY_WITH_TIMEOUT(ended.count() > 0, deadline);
    const QString outcome = ended.at(0).at(0).toString();
    if (!midway) QSKIP("the copy ended before it could be held up");
    QVERIFY2(outcome.startsWith("cancelled"), qPrintable(outcome));
    QVERIFY(!files.transferring());
    for (const auto& item :
         std::filesystem::directory_iterator(setting_->tablet().storageFolder() / "Download"))
      QVERIFY2(item.path().filename().string().rfind("big", 0) != 0 &&
                   item.path().filename().string().rfind(".lumivale-partial", 0) != 0,
               item.path().filename().c_str());
  }

  void filesThumbnailsComeFromCopiesPulledOnceIntoThePreviewCache() {
    FilesController& files = parts_->files;
    testing::TemporaryFolder local;
    const std::filesystem::path photo = local.path() / "photo.png";
    writePicture(photo, QSize(640, 480), Qt::red);
    const std::filesystem::path page = local.path() / "page.pdf";
    writePdf(page);
    setting_->tablet().shell(
        "mkdir -p /sdcard/Pictures && echo words > /sdcard/Pictures/words.txt");
    QCOMPARE(setting_->tablet().adb({"push", photo.string(), "/sdcard/Pictures/photo.png"}).status,
             0);
    QCOMPARE(setting_->tablet().adb({"push", page.string(), "/sdcard/Pictures/page.pdf"}).status,
             0);

    QSignalSpy listed(&files, &FilesController::listed);
    files.open("/sdcard/Pictures");
    QTRY_COMPARE_WITH_TIMEOUT(names(files).size(), 3, deadline);
    files.wantThumbnails(files.entries());
    const RemoteEntry photoEntry = entryNamed(files, "photo.png");
    const RemoteEntry pageEntry = entryNamed(files, "page.pdf");
    QTRY_VERIFY_WITH_TIMEOUT(files.thumbnail(photoEntry) && files.thumbnail(pageEntry), deadline);
    QCOMPARE(files.thumbnail(photoEntry)->size(), QSize(64, 48));
    QCOMPARE(files.thumbnail(photoEntry)->pixelColor(32, 24), QColor(Qt::red));
    QVERIFY(!files.thumbnail(pageEntry)->isNull());
    QVERIFY(!files.thumbnail(entryNamed(files, "words.txt")));

    // The copy in the cache is the file's; painted over here, the thumbnail made again
    // after the folder was left shows the cache's copy: it was not pulled again.
    const std::string serial = *parts_->tracker.view().serial;
    const std::filesystem::path cached = RemoteFileCache::standard().url(serial, photoEntry);
    QCOMPARE(contentOf(cached), contentOf(photo));
    writePicture(cached, QSize(640, 480), Qt::green);
    files.open("/sdcard");
    QTRY_VERIFY_WITH_TIMEOUT(!files.thumbnail(photoEntry), deadline);
    files.open("/sdcard/Pictures");
    QTRY_COMPARE_WITH_TIMEOUT(names(files).size(), 3, deadline);
    files.wantThumbnails(files.entries());
    QTRY_VERIFY_WITH_TIMEOUT(files.thumbnail(photoEntry).has_value(), deadline);
    QCOMPARE(files.thumbnail(photoEntry)->pixelColor(32, 24), QColor(Qt::green));
  }

  void filesPullsAnItemToDragItOut() {
    FilesController& files = parts_->files;
    setting_->tablet().shell(
        "mkdir -p /sdcard/Documents && echo drafted > /sdcard/Documents/draft.txt");
    files.open("/sdcard/Documents");
    QTRY_VERIFY_WITH_TIMEOUT(names(files).contains("draft.txt"), deadline);
    QSignalSpy ready(&files, &FilesController::dragReady);
    files.prepareDrag(entryNamed(files, "draft.txt"));
    QVERIFY(ready.wait(deadline));
    const std::filesystem::path copy = ready.at(0).at(0).toString().toStdString();
    QCOMPARE(copy.filename().string(), "draft.txt");
    QCOMPARE(QString::fromStdString(contentOf(copy)), "drafted\n");
    // Dragged again unchanged, the copy is at hand at once.
    files.prepareDrag(entryNamed(files, "draft.txt"));
    QCOMPARE(ready.count(), 2);
    QCOMPARE(ready.at(1).at(0).toString(), ready.at(0).at(0).toString());
  }

  void filesOffersLeftoversAndCleansThemUp() {
    FilesController& files = parts_->files;
    // Remains of a copy and a delete that stopped long ago, beside a book of the user's.
    setting_->tablet().shell(
        "mkdir -p /sdcard/Camp && cd /sdcard/Camp && echo book > book.pdf && "
        "echo part > .lumivale-partial-0a1b2c3d && mkdir .lumivale-deleting-4e5f6a7b && "
        "touch -t 202001010000 .lumivale-partial-0a1b2c3d .lumivale-deleting-4e5f6a7b");
    files.open("/sdcard/Camp");
    QTRY_COMPARE_WITH_TIMEOUT(files.cleanable(), 2, deadline);
    QCOMPARE(files.leftovers().size(), size_t(2));
    QCOMPARE(names(files), QStringList{"book.pdf"});

    QSignalSpy cleaned(&files, &FilesController::cleanedUp);
    files.cleanUp();
    QVERIFY(cleaned.wait(deadline));
    QCOMPARE(cleaned.at(0).at(0).toString(), "2 leftovers erased, 0 put back.");
    QTRY_VERIFY_WITH_TIMEOUT(files.leftovers().empty(), deadline);
    QCOMPARE(files.cleanable(), 0);
    QStringList stored;
    for (const auto& item :
         std::filesystem::directory_iterator(setting_->tablet().storageFolder() / "Camp"))
      stored << QString::fromStdString(item.path().filename().string());
    QCOMPARE(stored, QStringList{"book.pdf"});
  }

  void settingsNamesTheAdbInUse() {
    SettingsController& settings = parts_->settings;
    QTRY_VERIFY_WITH_TIMEOUT(!settings.setup().adbs.empty(), deadline);
    bool used = false;
    for (const AdbCandidateLook& look : settings.setup().adbs)
      used = used || !look.problem;
    QVERIFY(used);
    QVERIFY(SettingsController::showsServers());
    QCOMPARE(settings.setup().servers.size(), size_t(3));
  }

 private:
  std::unique_ptr<testing::AppTestSetting> setting_;
  std::unique_ptr<testing::AuthServer> server_;
  std::unique_ptr<AppParts> parts_;
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::AppControllersTest)
#include "app_controllers_test.moc"
