#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/settings/testing/temporary_settings_folder.h"
#include "tests/integration/broken_tool.h"
#include "tests/integration/standin_cli.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::BrokenTool;
using testing::StandinTablet;

// `lumivale profile ...` as a user runs it, against one stand-in for the suite and a
// settings folder of each test's own.
class ProfileCommands : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = new StandinTablet(); }
  static void TearDownTestSuite() { delete tablet; }

  void SetUp() override {
    // The tablet as it was before any profile: each test starts from here.
    tablet->shell(
        "settings put system screen_brightness 102; settings put system screen_brightness_mode 0; "
        "settings put system screen_brightness_amber_rate 128; "
        "settings put system screen_off_timeout 120000; cmd notification set_dnd off");
  }

  ToolRun lumivale(const std::vector<std::string>& arguments) {
    return ToolRun::runIn(testing::standinCliEnvironment(*tablet, settings.path()), LUMIVALE_CLI,
                          arguments, Seconds(120));
  }

  static std::string stored(const std::string& space, const std::string& key) {
    auto output = tablet->shell("settings get " + space + " " + key).stdoutData;
    return output.substr(0, output.find_last_not_of("\r\n") + 1);
  }

  nlohmann::json status() {
    ToolRun run = lumivale({"profile", "status", "--json"});
    EXPECT_EQ(run.status, 0) << run.stderrData;
    return nlohmann::json::parse(run.stdoutData);
  }

  static inline StandinTablet* tablet = nullptr;
  testing::TemporaryFolder settings;
};

TEST_F(ProfileCommands, ASettingChangedByHandIsLeftAndNamedTheRestGoBack) {
  ToolRun apply = lumivale({"profile", "apply", "go-to-bed"});
  ASSERT_EQ(apply.status, 0) << apply.stderrData << apply.stdoutData;
  EXPECT_EQ(stored("system", "screen_brightness"), "20");
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "220");
  EXPECT_EQ(stored("global", "zen_mode"), "2");
  auto active = status();
  EXPECT_EQ(active["profile"], "go-to-bed");
  EXPECT_EQ(active["changes"].size(), 4u);

  tablet->shell("settings put system screen_brightness 77");
  ToolRun restore = lumivale({"profile", "restore"});
  EXPECT_EQ(restore.status, 0) << restore.stderrData;
  EXPECT_NE(restore.stdoutData.find("brightness          changed since, so left at 77"),
            std::string::npos)
      << restore.stdoutData;
  EXPECT_EQ(stored("system", "screen_brightness"), "77");
  EXPECT_EQ(stored("system", "screen_brightness_mode"), "0");
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "128");
  EXPECT_EQ(stored("global", "zen_mode"), "0");
  EXPECT_EQ(status()["profile"], nullptr);
}

TEST_F(ProfileCommands, BedThenOutsideThenRestoreGivesTheValuesFromBeforeBed) {
  ASSERT_EQ(lumivale({"profile", "apply", "go-to-bed"}).status, 0);
  ToolRun outside = lumivale({"profile", "apply", "go-outside", "--json"});
  ASSERT_EQ(outside.status, 0) << outside.stderrData;
  auto steps = nlohmann::json::parse(outside.stdoutData)["steps"];
  EXPECT_EQ(steps[2]["id"], "screen_off_timeout");
  EXPECT_EQ(steps[2]["value"], "60000");
  EXPECT_EQ(steps[2]["shown"], "1 min");
  EXPECT_EQ(stored("system", "screen_brightness_mode"), "1");

  ToolRun restore = lumivale({"profile", "restore", "--json"});
  ASSERT_EQ(restore.status, 0) << restore.stderrData;
  const auto restored = nlohmann::json::parse(restore.stdoutData);
  for (const auto& step : restored["steps"])
    EXPECT_EQ(step["result"], "restored") << step;
  EXPECT_EQ(stored("system", "screen_brightness"), "102");
  EXPECT_EQ(stored("system", "screen_brightness_mode"), "0");
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "128");
  EXPECT_EQ(stored("system", "screen_off_timeout"), "120000");
  EXPECT_EQ(stored("global", "zen_mode"), "0");
}

TEST_F(ProfileCommands, AWriteTheTabletRefusesIsReportedAndTheRecordKept) {
  {
    BrokenTool cmd(tablet->rootFolder() / "system/bin/cmd",
                   "java.lang.SecurityException: set_dnd is not allowed");
    ToolRun apply = lumivale({"profile", "apply", "go-to-bed"});
    EXPECT_EQ(apply.status, 1);
    EXPECT_NE(apply.stdoutData.find("dnd                 not changed: unexpected adb output: "
                                    "java.lang.SecurityException: set_dnd is not allowed"),
              std::string::npos)
        << apply.stdoutData;
    EXPECT_EQ(stored("system", "screen_brightness"), "20");  // the others went on
  }
  EXPECT_EQ(status()["profile"], "go-to-bed");

  {
    // The tablet will not take the old values either: the record stays.
    BrokenTool settingsTool(tablet->rootFolder() / "system/bin/settings", "Permission denial");
    EXPECT_EQ(lumivale({"profile", "restore"}).status, 1);
  }
  EXPECT_EQ(status()["profile"], "go-to-bed");

  ToolRun restore = lumivale({"profile", "restore"});
  EXPECT_EQ(restore.status, 0) << restore.stdoutData << restore.stderrData;
  EXPECT_EQ(stored("system", "screen_brightness"), "102");
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "128");
  EXPECT_EQ(status()["profile"], nullptr);
}

TEST_F(ProfileCommands, ListingNeedsNoTabletAndAnUnknownNameIsAUsageMistake) {
  ToolRun list = lumivale({"profile", "list"});
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(list.stdoutData.substr(0, 22), "go-outside  Go outside");
  ToolRun unknown = lumivale({"profile", "apply", "go-sailing"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.stderrData,
            "lumivale: no profile named 'go-sailing' (see: lumivale profile list)\n");
  ToolRun none = lumivale({"profile", "restore"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.stderrData,
            "lumivale: no profile is active on this tablet, so there is nothing to restore\n");
}

}  // namespace
}  // namespace lumivale
