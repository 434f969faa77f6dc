#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/device-settings/screen_off_timeout.h"
#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/device-settings/setting_shell.h"
#include "core/device-settings/user_setting_row.h"

namespace lumivale {
namespace {

std::string captured(const std::string& name) {
  std::ifstream file(std::string(LUMIVALE_ANDROID_OUTPUTS) + "/" + name);
  EXPECT_TRUE(file) << name;
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(SettingParseTest, SettingsAnswersReadNullAsUnsetAndZeroOneAsSwitches) {
  EXPECT_EQ(SettingParse::settingsAnswer("null\n"), std::nullopt);
  EXPECT_EQ(SettingParse::settingsAnswer("1\r\n"), "1");
  EXPECT_EQ(SettingParse::settingsAnswer(
                captured("settings-get-system-accelerometer_rotation-android12-emui14-huawei-"
                         "matepad-pro-tablet.txt")),
            "0");
  EXPECT_EQ(SettingParse::bool01("1"), true);
  EXPECT_EQ(SettingParse::bool01("0"), false);
  EXPECT_EQ(SettingParse::bool01("2"), std::nullopt);
  EXPECT_EQ(SettingParse::wholeNumber("-12"), -12);
  EXPECT_EQ(SettingParse::wholeNumber("12a"), std::nullopt);
  EXPECT_EQ(SettingParse::wholeNumber(""), std::nullopt);
}

TEST(SettingParseTest, ComponentsNeedAPackageAndAClassAndShortClassesExpand) {
  EXPECT_TRUE(SettingParse::isComponent("com.example/.Main"));
  EXPECT_TRUE(SettingParse::isComponent("com.example/com.example.Outer$Inner"));
  EXPECT_TRUE(SettingParse::isComponent("android/com.android.internal.app.ResolverActivity"));
  for (const char* text : {"com.example", "/.Main", "com.example/", "com..example/.Main",
                           "com.example/.Main extra", "1com/.Main", "com.example/./Main", "a/b/c"})
    EXPECT_FALSE(SettingParse::isComponent(text)) << text;

  EXPECT_EQ(SettingParse::expand("p/.Main"), "p/p.Main");
  EXPECT_EQ(SettingParse::expand("p/q.Main"), "p/q.Main");
  EXPECT_EQ(SettingParse::componentList("a.b/.X:c.d/c.d.Y:", ':'),
            (std::vector<std::string>{"a.b/.X", "c.d/c.d.Y"}));
}

TEST(SettingParseTest, ComponentLinesOfPackageQueriesInTheOrderPrinted) {
  EXPECT_EQ(SettingParse::components(captured(
                "cmd-package-query-activities-brief-home-fireos7-android9-fire-hd10-tablet.txt")),
            (std::vector<std::string>{"com.amazon.firelauncher/.Launcher",
                                      "com.microsoft.launcher/.Launcher",
                                      "com.android.settings/.FallbackHome"}));
  EXPECT_EQ(SettingParse::components(captured(
                "cmd-package-resolve-activity-brief-home-fireos7-android9-fire-hd10-tablet.txt")),
            std::vector<std::string>{"com.amazon.firelauncher/.Launcher"});
  EXPECT_TRUE(
      SettingParse::components(
          captured("cmd-package-resolve-activity-brief-no-activity-found-android16-oppo.txt"))
          .empty());
}

TEST(SettingParseTest, DensityWithAndWithoutOverride) {
  EXPECT_EQ(
      SettingParse::density(captured("wm-density-android12-emui14-huawei-matepad-pro-tablet.txt")),
      (DensityInfo{320, std::nullopt}));
  auto overridden = SettingParse::density(
      captured("wm-size-and-density-override-density-android13-lineage20-galaxy-a51.txt"));
  ASSERT_TRUE(overridden);
  EXPECT_EQ(*overridden, (DensityInfo{420, 294}));
  EXPECT_EQ(overridden->effective(), 294);
  EXPECT_EQ(SettingParse::density("Override density: 200\n"), std::nullopt);
  // A density no int holds is unreadable, not cut down to a number the tablet never said.
  EXPECT_EQ(SettingParse::density("Physical density: 4294967536\n"), std::nullopt);
  EXPECT_EQ(SettingParse::density("Physical density: 240\nOverride density: 4294967536\n"),
            std::nullopt);
  EXPECT_EQ(SettingParse::wholeNumber("99999999999999999999"), std::nullopt);
}

TEST(SettingParseTest, ScreensaverStateKeepsUnsetApartFromOff) {
  EXPECT_EQ(SettingParse::screensaver("0\n", "a.b/.Dream,c.d/.Other\n"),
            (ScreensaverState{false, {"a.b/.Dream", "c.d/.Other"}}));
  EXPECT_EQ(SettingParse::screensaver("null\n", "null\n"), (ScreensaverState{std::nullopt, {}}));
}

TEST(ScreenOffTimeoutTest, OnlyTheFiveTimesAreCases) {
  EXPECT_EQ(screenOffTimeout(300000), ScreenOffTimeout::fiveMinutes);
  EXPECT_EQ(screenOffTimeout(45000), std::nullopt);
  EXPECT_EQ(screenOffTimeout(2147483647), std::nullopt);
  std::vector<std::string> titles;
  for (auto timeout : allScreenOffTimeouts)
    titles.push_back(title(timeout));
  EXPECT_EQ(titles, (std::vector<std::string>{"1 min", "2 min", "5 min", "10 min", "30 min"}));
}

TEST(UserSettingRowTest, RoundTripsWithTheServiceKeysInOrder) {
  UserSettingRow row{
      "r1", "warmth", "180", "session-9", "2026-11-20T10:00:00Z", "2026-11-21T08:00:00Z"};
  auto json = row.toJson();
  EXPECT_EQ(json.dump(),
            R"({"id":"r1","key":"warmth","value":"180","client_session_id":"session-9",)"
            R"("created_at":"2026-11-20T10:00:00Z","updated_at":"2026-11-21T08:00:00Z"})");
  EXPECT_EQ(UserSettingRow::fromJson(nlohmann::json::parse(json.dump())), row);
  EXPECT_THROW(UserSettingRow::fromJson(nlohmann::json::parse(R"({"id":"r1"})")), SettingError);
}

TEST(SettingShellTest, EachCommandOfALineHasItsOwnStatus) {
  std::vector<std::string> commands{"first", "second"};
  EXPECT_EQ(SettingShell::line(commands),
            "first 2>&1; printf '\\nLUMIVALE-EXIT:%d\\n' $?; "
            "second 2>&1; printf '\\nLUMIVALE-EXIT:%d\\n' $?");
  auto answers = SettingShell::answers("12\n\nLUMIVALE-EXIT:0\nnope\nLUMIVALE-EXIT:1\n", commands);
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_EQ(answers[0].output, "12\n");
  EXPECT_EQ(answers[1].output, "nope");
  EXPECT_EQ(answers[1].status, 1);
  try {
    SettingShell::answers("12\n\nLUMIVALE-EXIT:0\n", commands);
    FAIL() << "a missing marker was taken for a finished command";
  } catch (const SettingError& error) {
    EXPECT_EQ(error.message(), "unexpected adb output: no answer to 'second'");
  }
}

}  // namespace
}  // namespace lumivale
