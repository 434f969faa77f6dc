#include "companion/app_settings_store.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/settings/file_system_error.h"
#include "core/settings/log.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale::companion {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeText(const fs::path& file, const std::string& text) {
  std::ofstream(file, std::ios::trunc) << text;
}

class AppSettingsStoreTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder root;
  fs::path folder = root.path() / "settings";
  AppSettingsStore store{folder};
};

TEST_F(AppSettingsStoreTest, NoFileReadsAsTheDefaultsAndIsNotCreatedByReading) {
  AppSettings settings = store.load();
  EXPECT_TRUE(settings.clipboardHistoryKept);
  EXPECT_FALSE(settings.sharedClipboardEnabled);
  EXPECT_FALSE(settings.readingFolderRemoveDeleted);
  EXPECT_FALSE(settings.wirelessPreferred);
  EXPECT_FALSE(settings.readingFolderPath);
  EXPECT_FALSE(settings.readingFolderTablet);
  EXPECT_FALSE(settings.openFilesLastRoute);
  EXPECT_FALSE(fs::exists(folder));
}

TEST_F(AppSettingsStoreTest, ChangesComeBackAsWrittenInAPrivateFileBesideTheOthers) {
  AppSettings wanted;
  wanted.clipboardHistoryKept = false;
  wanted.sharedClipboardEnabled = true;
  wanted.readingFolderPath = "/home/reader/Reading folder";
  wanted.readingFolderRemoveDeleted = true;
  wanted.readingFolderTablet = "LV1A2B3C";
  wanted.readingFolderTabletFolder = "/sdcard/Books";
  wanted.openFilesLastRoute = "tablet";
  wanted.wirelessPreferred = true;
  wanted.welcomed = true;
  wanted.windowPane = "Desk";
  wanted.windowWidth = 1024;
  wanted.windowHeight = 700;
  EXPECT_EQ(store.update([&](AppSettings& settings) { settings = wanted; }), wanted);
  EXPECT_EQ(store.load(), wanted);
  EXPECT_EQ(store.file(), folder / "app-settings.json");
  struct stat facts {};
  ASSERT_EQ(::stat(store.file().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);

  // An unset choice leaves the file, rather than lingering as null.
  store.update([](AppSettings& settings) { settings.readingFolderPath.reset(); });
  EXPECT_FALSE(json::parse(contentOf(store.file())).contains("readingFolderPath"));
  EXPECT_EQ(store.load().readingFolderTablet, "LV1A2B3C");
}

TEST_F(AppSettingsStoreTest, KeysOfOtherVersionsSurviveAChange) {
  fs::create_directories(folder);
  writeText(store.file(),
            R"({"readingFolderBookmark": "Ym9vaw==", "later": {"x": [1, 2]},
                "wirelessPreferred": true})");
  store.update([](AppSettings& settings) { settings.sharedClipboardEnabled = true; });
  json written = json::parse(contentOf(store.file()));
  EXPECT_EQ(written["readingFolderBookmark"], "Ym9vaw==");
  EXPECT_EQ(written["later"], json::parse(R"({"x": [1, 2]})"));
  EXPECT_EQ(written["wirelessPreferred"], true);
  EXPECT_EQ(written["sharedClipboardEnabled"], true);
}

// Runs in a forked child: no test assertions here, only an exit status.
int countUp(const AppSettingsStore& store, int times) {
  try {
    for (int i = 0; i < times; ++i)
      store.update([](AppSettings& settings) {
        int count = settings.openFilesLastRoute ? std::stoi(*settings.openFilesLastRoute) : 0;
        settings.openFilesLastRoute = std::to_string(count + 1);
      });
    return 0;
  } catch (...) {
    return 1;
  }
}

TEST_F(AppSettingsStoreTest, ChangesFromTwoProcessesAtOnceAreBothKept) {
  constexpr int times = 200;
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(countUp(store, times));
  EXPECT_EQ(countUp(store, times), 0);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(store.load().openFilesLastRoute, std::to_string(2 * times));
}

TEST_F(AppSettingsStoreTest, ADamagedFileReadsAsTheDefaultsIsLoggedAndIsSetAsideNotLost) {
  fs::create_directories(folder);
  const std::string damaged = R"({"wirelessPreferred": true, "sharedClip)";
  writeText(store.file(), damaged);
  EXPECT_EQ(store.load(), AppSettings{});
  EXPECT_EQ(contentOf(store.file()), damaged);
  EXPECT_NE(contentOf(logDirectory() / "lumivale.log").find(store.file().string()),
            std::string::npos);

  // A change that fails touches nothing, not even the damaged file.
  EXPECT_THROW(store.update([](AppSettings&) { throw Error("changed my mind"); }), Error);
  EXPECT_EQ(contentOf(store.file()), damaged);

  store.update([](AppSettings& settings) { settings.sharedClipboardEnabled = true; });
  EXPECT_TRUE(store.load().sharedClipboardEnabled);
  EXPECT_EQ(contentOf(folder / "app-settings.json.damaged"), damaged);
}

TEST_F(AppSettingsStoreTest, AValueOfTheWrongTypeFallsBackAloneToItsDefault) {
  fs::create_directories(folder);
  writeText(store.file(),
            R"({"wirelessPreferred": "yes", "clipboardHistoryKept": false,
                "readingFolderTablet": 7, "openFilesLastRoute": "finder"})");
  AppSettings settings = store.load();
  EXPECT_FALSE(settings.wirelessPreferred);
  EXPECT_FALSE(settings.clipboardHistoryKept);
  EXPECT_FALSE(settings.readingFolderTablet);
  EXPECT_EQ(settings.openFilesLastRoute, "finder");
}

TEST(AppSettingsStoreFailureTest, AFolderThatCannotBeMadeSaysWhichAndWhy) {
  testing::TemporaryFolder root;
  writeText(root.path() / "plain", "a file, not a folder");
  AppSettingsStore store(root.path() / "plain" / "settings");
  try {
    store.update([](AppSettings& settings) { settings.wirelessPreferred = true; });
    ADD_FAILURE() << "written";
  } catch (const FileSystemError& error) {
    EXPECT_EQ(error.message(), "could not create the folder " +
                                   (root.path() / "plain" / "settings").string() +
                                   ": Not a directory");
  }
}

TEST(AppSettingsStoreStandardTest, LivesInTheSettingsFolder) {
  testing::TemporarySettingsFolder settings;
  EXPECT_EQ(AppSettingsStore::standard().file(), settings.path() / "app-settings.json");
}

}  // namespace
}  // namespace lumivale::companion
