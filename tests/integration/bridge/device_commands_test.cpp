// The device commands of `lumivale`, run as a user would, against stand-in tablets.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/adb_locate.h"
#include "core/tablet/tool_run.h"
#include "tests/integration/bridge/lumivale_run.h"
#include "tests/integration/eventually.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinOptions;
using testing::StandinTablet;

class DeviceCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-cli-config-XXXXXX";
    configFolder = ::mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(configFolder); }

  ToolRun lumivale(const StandinTablet& tablet, std::vector<std::string> arguments) {
    // Named as the stand-in it counts as cabled; otherwise its TCP serial is Wi-Fi.
    return testing::runLumivale(tablet, configFolder, arguments, !overWifi);
  }

  nlohmann::json config() { return testing::readSettings(configFolder); }
  void writeConfig(const nlohmann::json& settings) {
    testing::writeSettings(configFolder, settings);
  }

  // The stand-in as the tablet "LV1-DESK", remembered for Wi-Fi by the account "u1".
  static nlohmann::json rememberedDesk(const StandinTablet& tablet) {
    return nlohmann::json::array({{{"serial", "LV1-DESK"},
                                   {"model", "LV-1"},
                                   {"name", "Desk"},
                                   {"lastIP", "127.0.0.1"},
                                   {"lastPort", tablet.port()},
                                   {"pairedAt", "2024-05-01T09:00:00Z"},
                                   {"accountUserId", "u1"},
                                   {"transport", "tls"}}});
  }

  std::filesystem::path configFolder;
  bool overWifi = false;
};

TEST_F(DeviceCommandsTest, AReadyTabletIsListedUsedAndWorkedOn) {
  StandinTablet tablet;
  ToolRun status = lumivale(tablet, {"status"});
  EXPECT_EQ(status.status, 0) << status.stderrData;
  EXPECT_EQ(status.stdoutData, "ready  " + tablet.serial() + "\nscreen: awake\n");
  ToolRun stateAlone = lumivale(tablet, {"status", "-q"});
  EXPECT_EQ(stateAlone.status, 0) << stateAlone.stderrData;
  EXPECT_EQ(stateAlone.stdoutData, "ready  " + tablet.serial() + "\n");

  auto devices = nlohmann::json::parse(lumivale(tablet, {"devices", "--json"}).stdoutData);
  EXPECT_EQ(devices["state"], "ready");
  ASSERT_EQ(devices["tablets"].size(), 1u);
  EXPECT_EQ(devices["tablets"][0]["connections"][0]["serial"], tablet.serial());

  ToolRun use = lumivale(tablet, {"use", tablet.serial()});
  EXPECT_EQ(use.status, 0) << use.stderrData;
  EXPECT_EQ(config()["deviceSerial"], tablet.serial());

  auto info = nlohmann::json::parse(lumivale(tablet, {"info", "--json"}).stdoutData);
  EXPECT_EQ(info["model"], "LV-1");
  EXPECT_TRUE(info["screen"]["awake"].is_boolean());
  EXPECT_TRUE(info["screen"]["locked"].is_boolean());
  // A setting's value has one type whatever the setting: the text that sets it.
  for (const char* command : {"warmth", "brightness"}) {
    auto value = nlohmann::json::parse(lumivale(tablet, {command, "--json"}).stdoutData);
    EXPECT_EQ(value["id"], command);
    EXPECT_TRUE(value["value"].is_string() || value["value"].is_null()) << command;
    EXPECT_TRUE(value["shown"].is_string()) << command;
  }
  auto listed = nlohmann::json::parse(lumivale(tablet, {"setting", "list", "--json"}).stdoutData);
  for (const auto& reading : listed)
    EXPECT_TRUE(reading["value"].is_string() || reading["value"].is_null()) << reading["id"];
  EXPECT_EQ(lumivale(tablet, {"open", "notaurl"}).status, 2);
  EXPECT_EQ(info["batteryPercent"], 76);

  EXPECT_EQ(lumivale(tablet, {"type", "hello there"}).status, 0);
  EXPECT_EQ(lumivale(tablet, {"tap", "5", "6"}).status, 0);
  ToolRun tooLong = lumivale(tablet, {"type", std::string(241, 'x')});
  EXPECT_EQ(tooLong.status, 1);
  EXPECT_EQ(tooLong.stderrData,
            "lumivale: text cannot be typed over adb (240 printable ASCII characters at most)\n");
  std::string log = tablet.inputLog();
  EXPECT_NE(log.find("text hello%sthere\ntap 5 6\n"), std::string::npos) << log;

  auto png = configFolder / "screen.png";
  EXPECT_EQ(lumivale(tablet, {"screenshot", png.string()}).status, 0);
  EXPECT_GT(std::filesystem::file_size(png), 8u);

  EXPECT_EQ(lumivale(tablet, {"use", "--clear"}).status, 0);
  EXPECT_FALSE(config().contains("deviceSerial"));
}

TEST_F(DeviceCommandsTest, AnAsleepOrLockedScreenIsRefusedInOneWording) {
  StandinTablet tablet;
  ASSERT_EQ(tablet.shell("input keyevent 223").status, 0);  // KEYCODE_SLEEP: asleep and locked
  const std::string asleep =
      "lumivale: your Lumivale is asleep, not awake, so input would be dropped; wake it with "
      "lumivale wake first\n";
  EXPECT_EQ(lumivale(tablet, {"tap", "5", "6"}).stderrData, asleep);
  EXPECT_EQ(lumivale(tablet, {"type", "hello"}).stderrData, asleep);

  ASSERT_EQ(tablet.shell("input keyevent 224").status, 0);  // KEYCODE_WAKEUP: awake, still locked
  const std::string locked =
      "lumivale: the lock screen is showing on your Lumivale; unlock it on the tablet first\n";
  for (const auto& command : std::vector<std::vector<std::string>>{
           {"tap", "5", "6"},
           {"type", "hello"},
           {"screenshot", (configFolder / "screen.png").string()}}) {
    ToolRun refused = lumivale(tablet, command);
    EXPECT_EQ(refused.status, 1) << command.front();
    EXPECT_EQ(refused.stderrData, locked) << command.front();
  }
  EXPECT_FALSE(std::filesystem::exists(configFolder / "screen.png"));
  // Nothing reached the screen but the two key presses.
  EXPECT_EQ(tablet.inputLog(), "keyevent 223\nkeyevent 224\n");
}

TEST_F(DeviceCommandsTest, ATabletNotReadyIsRefusedWithItsSentence) {
  StandinTablet tablet(StandinOptions().fault("unauthorized"));
  ToolRun status;
  EXPECT_TRUE(testing::eventually([&] {
    status = lumivale(tablet, {"status"});
    return status.stdoutData.starts_with("waitingForApproval");
  })) << status.stdoutData;
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData, "waitingForApproval  " + tablet.serial() +
                                   "\nOn your Lumivale, tap Allow for this Mac first.\n");
  ToolRun info = lumivale(tablet, {"info", "--serial", "GONE"});
  EXPECT_EQ(info.status, 1);
  EXPECT_EQ(info.stderrData,
            "lumivale: no Lumivale with serial 'GONE' is connected (see lumivale devices)\n");

  ToolRun elsewhere = lumivale(tablet, {"--serial", "GONE", "status", "--json"});
  EXPECT_EQ(elsewhere.status, 1);
  auto json = nlohmann::json::parse(elsewhere.stdoutData);
  EXPECT_EQ(json["state"], "chosenAway");
  EXPECT_EQ(json["refusal"], "no Lumivale with serial 'GONE' is connected (see lumivale devices)");
  EXPECT_EQ(json["screen"], nlohmann::json({{"awake", nullptr}, {"locked", nullptr}}));
  ToolRun use = lumivale(tablet, {"use", "GONE"});
  EXPECT_EQ(use.status, 1);
}

TEST_F(DeviceCommandsTest, AWifiTabletIsReadyOnlyOnceItPassesItsCheck) {
  StandinTablet tablet;
  overWifi = true;
  ASSERT_EQ(lumivale(tablet, {"use", "--clear"}).status, 0) << "writes the settings file";
  nlohmann::json settings = config();
  settings["userId"] = "u1";
  settings["wifiTablets"] = rememberedDesk(tablet);
  settings["wifiTablets"][0]["checkId"] = "c1";
  settings["wifiTablets"][0]["checkToken"] = "t0ken";
  writeConfig(settings);

  // Remembered by this account, but the tablet holds no check yet.
  const std::string refusal = "Connect your Lumivale with USB-C or over Wi-Fi first.";
  ToolRun status = lumivale(tablet, {"status"});
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData, "notConnected  " + tablet.serial() + "\n" + refusal + "\n");
  auto devices = nlohmann::json::parse(lumivale(tablet, {"devices", "--json"}).stdoutData);
  EXPECT_EQ(devices["state"], "notConnected");
  ASSERT_EQ(devices["tablets"].size(), 1u);
  EXPECT_EQ(devices["tablets"][0]["state"], "notConnected");
  ToolRun info = lumivale(tablet, {"info"});
  EXPECT_EQ(info.status, 1);
  EXPECT_EQ(info.stderrData, "lumivale: " + refusal + "\n");

  ASSERT_EQ(tablet.shell("printf 'c1\\nt0ken\\n' > /data/local/tmp/lumivale-check").status, 0);
  status = lumivale(tablet, {"status"});
  EXPECT_EQ(status.status, 0) << status.stdoutData;
  EXPECT_EQ(status.stdoutData, "ready  " + tablet.serial() + "\nscreen: awake\n");
  info = lumivale(tablet, {"info", "--json"});
  ASSERT_EQ(info.status, 0) << info.stderrData;
  EXPECT_EQ(nlohmann::json::parse(info.stdoutData)["serial"], tablet.serial());

  // Signed out, a Wi-Fi tablet counts for no one, even one remembered by no account.
  settings.erase("userId");
  settings["wifiTablets"][0].erase("accountUserId");
  writeConfig(settings);
  EXPECT_EQ(lumivale(tablet, {"status"}).stdoutData, "notConnected\n" + refusal + "\n");
}

TEST_F(DeviceCommandsTest, TheChosenTabletWaitingForApprovalIsAskedToAllow) {
  // adb lists a tablet that has not allowed this computer without its model pieces.
  StandinTablet tablet(StandinOptions().fault("unauthorized"));
  overWifi = true;  // recognised by nothing but its serial
  ASSERT_EQ(tablet.waitForState("unauthorized"), "unauthorized");
  ASSERT_EQ(tablet.adb({"devices", "-l"}).stdoutData.find("model:"), std::string::npos);
  ASSERT_EQ(lumivale(tablet, {"use", "--clear"}).status, 0) << "writes the settings file";
  nlohmann::json settings = config();
  settings["deviceSerial"] = "LV1-DESK";
  settings["userId"] = "u1";
  settings["wifiTablets"] = rememberedDesk(tablet);
  writeConfig(settings);

  const std::string allow = "On your Lumivale, tap Allow for this Mac first.";
  ToolRun status = lumivale(tablet, {"status"});
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData, "waitingForApproval  " + tablet.serial() + "\n" + allow + "\n");
  ToolRun listing = lumivale(tablet, {"files", "ls"});
  EXPECT_EQ(listing.status, 1);
  EXPECT_EQ(listing.stderrData, "lumivale: " + allow + "\n");
}

TEST_F(DeviceCommandsTest, ToolsNamesTheAdbInUse) {
  StandinTablet tablet(StandinOptions().withoutConnecting());
  ToolRun tools = lumivale(tablet, {"tools"});
  EXPECT_EQ(tools.status, 0) << tools.stderrData;
  EXPECT_TRUE(tools.stdoutData.starts_with("adb: /usr/bin/adb (distribution)")) << tools.stdoutData;
  EXPECT_NE(tools.stdoutData.find("lumivaleCopy"), std::string::npos);

  ToolRun listed = lumivale(tablet, {"tools", "--json"});
  ASSERT_EQ(listed.status, 0) << listed.stderrData;
  auto candidates = nlohmann::json::parse(listed.stdoutData)["candidates"];
  auto used = std::find_if(candidates.begin(), candidates.end(),
                           [](const nlohmann::json& entry) { return entry["used"] == true; });
  ASSERT_NE(used, candidates.end());
  EXPECT_EQ((*used)["path"], "/usr/bin/adb");
  EXPECT_EQ((*used)["version"], *AdbLocate::answeredVersion("/usr/bin/adb"));
  EXPECT_EQ(candidates.back()["source"], "lumivaleCopy");
  EXPECT_EQ(candidates.back()["problem"], "is not there");
}

}  // namespace
}  // namespace lumivale
