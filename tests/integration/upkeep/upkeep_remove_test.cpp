#include <algorithm>
#include <filesystem>

#include "core/files/staging_record.h"
#include "core/settings/config_store.h"
#include "tests/integration/upkeep/upkeep_machine.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

const std::string readingFolder = "Documents/From Mac";

class UpkeepRemove : public UpkeepMachine {
 protected:
  void SetUp() override {
    UpkeepMachine::SetUp();
    if (IsSkipped()) return;
    ConfigStore::update([&](LumivaleConfig& config) {
      config.portmarkBaseUrl = server->baseUrl();
      config.deviceSerial = tablet->serial();
    });
  }

  // Every piece of the program on both sides, as weeks of use leave them, beside the
  // user's own files. Returns the session token of the sign-in.
  std::string plantEverything() {
    const std::string email = uniqueEmail("upkeep");
    ToolRun signUp =
        lumivale({"account", "signup", "--email", email, "--password-stdin"}, testPassword);
    EXPECT_EQ(signUp.status, 0) << signUp.stderrData;
    const auto settingsFolder = settings.path();
    write(settingsFolder / "clipboard-history.json", R"({"version": 1, "items": []})");
    write(settingsFolder / "app-settings.json", R"({"sharedClipboardEnabled": true})");
    write(settingsFolder / "Reading folder" / (tablet->serial() + ".json"),
          R"({"version": 1, "serial": ")" + tablet->serial() +
              R"(", "pairs": [{"macFolder": "/home/ann/Books", "tabletFolder": "/sdcard/)" +
              readingFolder + R"(", "files": {}, "folders": []}]})");
    write(settingsFolder / "platform-tools" / "adb", "not a program");
    write(logs / "lumivale.log", "a line\n");
    write(logs / "lumivale.1.log", "an older line\n");
    write(logs / "mine.txt", "the user's own notes\n");
    write(caches / "com.lumivale.mac" / "Files" / "k1" / "book.pdf", "%PDF preview");
    EXPECT_EQ(lumivale({"profile", "apply", "go-outside"}).status, 0);

    write(local.path() / "helper.dex", "dex\n035");
    EXPECT_EQ(tablet
                  ->adb({"push", (local.path() / "helper.dex").string(),
                         "/data/local/tmp/lumivale-clip.dex"})
                  .status,
              0);
    tablet->shell(
        "printf 'c1\\nt1\\n' > /data/local/tmp/lumivale-check; "
        "echo mine > /data/local/tmp/user-tool");
    auto onTablet = tablet->storageFolder() / readingFolder;
    write(onTablet / "book.pdf", "the Reading folder's copy");
    write(onTablet / "my-own.txt", "put there by the user");
    write(tablet->storageFolder() / "Documents" / "notes.txt", "the user's notes");
    // A copy cut off by a program that is gone.
    ToolRun gone = ToolRun::run("/bin/sh", {"-c", "echo $$"}, Seconds(10));
    auto record =
        StagingRecord::mine(StagingRecord::newId(), StagingRecord::Operation::copy, "book2.pdf");
    record.pid = std::stoll(gone.stdoutData);
    std::string text;
    for (const auto& line : record.lines())
      text += line + "\n";
    write(onTablet / StagingRecord::fileName(record.id), text);
    write(onTablet / (".lumivale-partial-" + record.id), "half a book");
    return keychain().loadSessionToken().value_or("");
  }

  bool onTablet(const std::string& path) const { return fs::exists(tablet->hostPath(path)); }
};

TEST_F(UpkeepRemove, EverythingOfTheProgramGoesFromBothSidesAndNothingOfTheUsers) {
  std::string token = plantEverything();
  ASSERT_FALSE(token.empty());

  // Without a terminal to ask on, nothing goes unless told.
  ToolRun unasked = lumivale({"upkeep", "remove"});
  EXPECT_EQ(unasked.status, 2);
  EXPECT_NE(unasked.stderrData.find("nothing was removed"), std::string::npos);
  EXPECT_TRUE(fs::exists(settings.path() / "config.json"));
  EXPECT_TRUE(onTablet("/data/local/tmp/lumivale-clip.dex"));

  ToolRun removed = lumivale({"upkeep", "remove", "--yes"});
  EXPECT_EQ(removed.status, 0) << removed.stderrData;
  for (const std::string& listed : std::vector<std::string>{
           "On the tablet (" + tablet->serial() + "):", "/data/local/tmp/lumivale-clip.dex",
           "/data/local/tmp/lumivale-check", "/.lumivale-partial-",
           "On this computer:", (settings.path() / "clipboard-history.json").string(),
           (settings.path() / "Reading folder").string(), (logs / "lumivale.1.log").string(),
           (caches / "com.lumivale.mac").string(), "the sign-in of upkeep-"})
    EXPECT_NE(removed.stdoutData.find(listed), std::string::npos) << listed << "\n"
                                                                  << removed.stdoutData;

  // The computer: the settings folder, log, cache and sign-in are gone, and the server
  // was told; the user's file beside the log stays.
  EXPECT_FALSE(fs::exists(settings.path()));
  EXPECT_FALSE(fs::exists(logs / "lumivale.log"));
  EXPECT_FALSE(fs::exists(logs / "lumivale.1.log"));
  EXPECT_TRUE(fs::exists(logs / "mine.txt"));
  EXPECT_FALSE(fs::exists(caches / "com.lumivale.mac"));
  EXPECT_EQ(keychain().loadSessionToken(), std::nullopt);
  EXPECT_EQ(clientFor(server->baseUrl()).getSession(token), std::nullopt);

  // The tablet: the program's files are gone, the user's and the Reading folder's copies stay.
  EXPECT_FALSE(onTablet("/data/local/tmp/lumivale-clip.dex"));
  EXPECT_FALSE(onTablet("/data/local/tmp/lumivale-check"));
  EXPECT_TRUE(onTablet("/data/local/tmp/user-tool"));
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(tablet->storageFolder() / readingFolder))
    left.push_back(entry.path().filename().string());
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::string>{"book.pdf", "my-own.txt"}));
  EXPECT_TRUE(fs::exists(tablet->storageFolder() / "Documents" / "notes.txt"));

  ToolRun again = lumivale({"upkeep", "remove", "--yes"});
  EXPECT_EQ(again.status, 0) << again.stderrData;
  EXPECT_EQ(again.stdoutData, "There is nothing of Lumivale's to remove.\n");
  EXPECT_EQ(again.stderrData, "");
  EXPECT_FALSE(fs::exists(settings.path()));  // looking made nothing
}

TEST_F(UpkeepRemove, ATabletOutOfReachIsNamedAndTheComputerIsStillCleared) {
  tablet->shell("echo dex > /data/local/tmp/lumivale-clip.dex");
  write(settings.path() / "clipboard-history.json", "{}");
  ToolRun away = lumivale({"--serial", "127.0.0.1:9", "upkeep", "remove", "--yes"});
  EXPECT_EQ(away.status, 0) << away.stderrData;
  EXPECT_EQ(away.stderrData,
            "lumivale: The tablet could not be reached (no Lumivale with serial '127.0.0.1:9' is "
            "connected (see lumivale devices)), so the clipboard helper, the Wi-Fi check file "
            "and unfinished copies in the Reading folder's tablet folder stay on it. Connect it "
            "and run lumivale upkeep remove again to remove them.\n");
  EXPECT_FALSE(fs::exists(settings.path()));
  EXPECT_TRUE(onTablet("/data/local/tmp/lumivale-clip.dex"));

  // Left alone when asked to, without a word about it.
  ToolRun kept = lumivale({"upkeep", "remove", "--yes", "--keep-tablet"});
  EXPECT_EQ(kept.stdoutData, "There is nothing of Lumivale's to remove.\n");
  EXPECT_EQ(kept.stderrData, "");
  EXPECT_TRUE(onTablet("/data/local/tmp/lumivale-clip.dex"));
  ToolRun all = lumivale({"upkeep", "remove", "--yes"});
  EXPECT_EQ(all.status, 0) << all.stderrData;
  EXPECT_FALSE(onTablet("/data/local/tmp/lumivale-clip.dex"));
}

TEST_F(UpkeepRemove, OnATerminalItAsksFirstAndANoRemovesNothing) {
  write(settings.path() / "clipboard-history.json", "{}");
  ToolRun declined = onTerminal({"upkeep", "remove", "--keep-tablet"}, "n\n");
  EXPECT_EQ(declined.status, 0) << declined.stdoutData;
  EXPECT_NE(declined.stdoutData.find("Remove all of this? [y/N] "), std::string::npos)
      << declined.stdoutData;
  EXPECT_NE(declined.stdoutData.find("Nothing was removed."), std::string::npos);
  EXPECT_TRUE(fs::exists(settings.path() / "clipboard-history.json"));

  ToolRun agreed = onTerminal({"upkeep", "remove", "--keep-tablet"}, "y\n");
  EXPECT_EQ(agreed.status, 0) << agreed.stdoutData;
  EXPECT_NE(agreed.stdoutData.find("Removed 3 items."), std::string::npos) << agreed.stdoutData;
  EXPECT_FALSE(fs::exists(settings.path()));
}

TEST_F(UpkeepRemove, ASettingsFolderHoldingAUsersFileIsKeptWithItAndSaysSo) {
  write(settings.path() / "my notes.txt", "mine");
  ToolRun removed = lumivale({"upkeep", "remove", "--yes", "--keep-tablet"});
  EXPECT_EQ(removed.status, 0) << removed.stderrData;
  EXPECT_EQ(removed.stderrData, "lumivale: " + settings.path().string() +
                                    " was kept: it also holds my notes.txt, which Lumivale did "
                                    "not make\n");
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(settings.path()))
    left.push_back(entry.path().filename().string());
  EXPECT_EQ(left, (std::vector<std::string>{"my notes.txt"}));
}

}  // namespace
}  // namespace lumivale::testing
