#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"
#include "core/upkeep/program_files.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;

void touch(const fs::path& file, const std::string& content = "") {
  fs::create_directories(file.parent_path());
  std::ofstream(file) << content;
}

std::vector<std::string> namesOf(const std::vector<ProgramFiles::Item>& items) {
  std::vector<std::string> names;
  for (const auto& item : items)
    names.push_back(item.path.filename().string());
  return names;
}

TEST(ProgramFilesTest, TheSettingsFolderIsSortedIntoTheProgramsAndTheUsers) {
  testing::TemporaryFolder folder;
  for (const char* name :
       {"config.json", "config.lock", "config.json.Xa3b9Q", "app-settings.json.damaged",
        "clipboard-history.json", "session-generation", "Reading folder/LV1.json",
        "platform-tools/adb", "logs/lumivale.log", "profiles/LV1.json",
        // Not the program's: a user's file beside them, and names that only look alike.
        "notes.txt", "config.json.bak", "config.jsonX", "Reading folder copy/a.pdf"})
    touch(folder.path() / name);
  EXPECT_EQ(namesOf(ProgramFiles::inSettingsFolder(folder.path())),
            (std::vector<std::string>{"Reading folder", "app-settings.json.damaged",
                                      "clipboard-history.json", "config.json", "config.json.Xa3b9Q",
                                      "config.lock", "logs", "platform-tools", "profiles",
                                      "session-generation"}));
  EXPECT_EQ(ProgramFiles::strangers(folder.path()),
            (std::vector<std::string>{"Reading folder copy", "config.json.bak", "config.jsonX",
                                      "notes.txt"}));
  EXPECT_TRUE(ProgramFiles::inSettingsFolder(folder.path() / "missing").empty());
}

TEST(ProgramFilesTest, OnlyTheLogsOwnFilesInAFolderOfTheUsers) {
  testing::TemporaryFolder folder;
  for (const char* name : {"lumivale.log", "lumivale.1.log", "lumivale.2.log", "other.log",
                           "lumivale.log.txt", "lumivale.x.log"})
    touch(folder.path() / name);
  EXPECT_EQ(namesOf(ProgramFiles::logFiles(folder.path())),
            (std::vector<std::string>{"lumivale.1.log", "lumivale.2.log", "lumivale.log"}));
}

TEST(ProgramFilesTest, TheReadingFoldersTabletFoldersComeFromItsRecords) {
  testing::TemporaryFolder folder;
  EXPECT_EQ(ProgramFiles::readingFolderTabletFolders(folder.path()),
            (std::vector<std::string>{"/sdcard/Documents/From Mac"}));
  auto records = folder.path() / "Reading folder";
  touch(records / "LV1.json",
        R"({"version": 1, "serial": "LV1", "pairs": [{"macFolder": "/home/a/Books",
            "tabletFolder": "/sdcard/Books"}, {"tabletFolder": "/sdcard/Papers"}]})");
  touch(records / "LV2.json", R"({"version": 1, "serial": "LV2", "pairs": [
            {"tabletFolder": "/sdcard/Books"}, {"tabletFolder": 7}]})");
  touch(records / "LV1.set-aside.json", R"({"pairs": [{"tabletFolder": "/sdcard/Wrong"}]})");
  touch(records / "LV3.json", "not json");
  EXPECT_EQ(ProgramFiles::readingFolderTabletFolders(folder.path()),
            (std::vector<std::string>{"/sdcard/Books", "/sdcard/Papers"}));
}

}  // namespace
}  // namespace lumivale
