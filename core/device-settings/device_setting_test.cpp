#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/device-settings/device_settings.h"
#include "core/device-settings/setting_error.h"
#include "core/device-settings/testing/scripted_tablet.h"

namespace lumivale {
namespace {

using testing::ScriptedTablet;

const std::string serial = "127.0.0.1:15555";

const DeviceSetting& named(const std::string& id) {
  return DeviceSettings::settingNamed(id);
}

// The message of the SettingError that `action` throws, or "" when it throws none.
template <class Action>
std::string failure(Action action) {
  try {
    action();
  } catch (const SettingError& error) {
    return error.message();
  }
  return "";
}

TEST(DeviceSettingTest, ParsesTypedTextPerKind) {
  EXPECT_EQ(named("auto_brightness").parse("on"), SettingValue::on(true));
  EXPECT_EQ(named("auto_brightness").parse("OFF"), SettingValue::on(false));
  EXPECT_EQ(named("dnd").parse("0"), SettingValue::on(false));
  EXPECT_EQ(named("density").parse("240"), SettingValue::level(240));
  EXPECT_EQ(named("density").parse("320"), SettingValue::level(320));
  EXPECT_EQ(named("screen_off_timeout").parse("300000"), SettingValue::choice("300000"));
  EXPECT_EQ(named("home_app").parse("com.example/.Home"),
            SettingValue::choice("com.example/.Home"));

  EXPECT_EQ(failure([] { named("auto_brightness").parse("maybe"); }),
            "'auto_brightness': expected on or off, got 'maybe'");
  EXPECT_EQ(failure([] { named("density").parse("239"); }), "'density': 239 is outside 240-320");
  EXPECT_EQ(failure([] { named("density").parse("321"); }), "'density': 321 is outside 240-320");
  EXPECT_EQ(failure([] { named("warmth").parse("warm"); }),
            "'warmth': expected a whole number 0-255");
  EXPECT_EQ(failure([] { named("screen_off_timeout").parse("45000"); }),
            "'screen_off_timeout': expected one of 60000, 120000, 300000, 600000, 1800000");
  EXPECT_EQ(failure([] { named("home_app").parse("launcher"); }),
            "'home_app': expected a package/class component, got 'launcher'");
  EXPECT_EQ(failure([] { named("wifi").parse("off"); }),
            "'wifi' cannot be changed from a Mac: The tablet does not allow this from a Mac, and "
            "turning Wi-Fi off would drop a wireless connection.");
}

TEST(DeviceSettingTest, ValidatesValuesBeforeAnyCommandIsSent) {
  ScriptedTablet tablet;
  auto write = [&](const char* id, SettingValue value) {
    return failure([&] { named(id).write(value, tablet, serial); });
  };
  EXPECT_EQ(write("warmth", SettingValue::level(256)), "'warmth': expected a level 0-255");
  EXPECT_EQ(write("brightness", SettingValue::level(-1)), "'brightness': expected a level 0-255");
  EXPECT_EQ(write("density", SettingValue::level(239)), "'density': expected a level 240-320");
  EXPECT_EQ(write("warmth", SettingValue::on(true)), "'warmth': warmth does not take 'on'");
  EXPECT_EQ(write("dnd", SettingValue::level(1)), "'dnd': dnd does not take '1'");
  EXPECT_EQ(write("screensaver", SettingValue::choice("dream")),
            "'screensaver': expected a package/class component, got 'dream'");
  EXPECT_EQ(write("kids_mode", SettingValue::on(true)),
            "'kids_mode' cannot be changed from a Mac: Needs a tablet update before a Mac can "
            "change it.");
  EXPECT_EQ(failure([&] { named("warmth").reset(tablet, serial); }),
            "'warmth': has no default to reset to");
  EXPECT_TRUE(tablet.lines.empty());
}

TEST(DeviceSettingTest, WarmthLeavesTheShadeBitAsItIs) {
  ScriptedTablet tablet;
  tablet.on("settings get system screen_brightness_amber_rate", "300\n");  // shaded, 44
  tablet.on("settings put system screen_brightness_amber_rate", "");
  EXPECT_EQ(named("warmth").read(tablet, serial), SettingValue::level(44));

  // The tablet keeps 300 whatever is put: the write yields what it reads back.
  EXPECT_EQ(named("warmth").write(SettingValue::level(180), tablet, serial),
            SettingValue::level(44));
  EXPECT_EQ(tablet.script.commands.at(2), "settings put system screen_brightness_amber_rate 436");

  tablet.on("settings get system screen_brightness_amber_rate", "180\n");
  named("warmth").write(SettingValue::level(7), tablet, serial);
  EXPECT_EQ(tablet.script.commands.back(), "settings get system screen_brightness_amber_rate");
  EXPECT_EQ(tablet.script.commands.at(tablet.script.commands.size() - 2),
            "settings put system screen_brightness_amber_rate 7");
}

TEST(DeviceSettingTest, ComponentsAreCheckedAgainstTheTabletAndComparedInLongForm) {
  ScriptedTablet tablet;
  tablet.on("query-services --brief -a android.service.notification.NotificationListenerService",
            "2 services found:\n  Service #0:\n    priority=0 preferredOrder=0\n"
            "    com.lumivale.sync/.Listener\n  Service #1:\n    priority=0\n"
            "    org.other/.Watcher\n");
  tablet.on("cmd notification allow_listener", "");
  tablet.on("settings get secure enabled_notification_listeners",
            "org.other/org.other.Watcher:com.lumivale.sync/com.lumivale.sync.Listener\n");
  const auto& listener = named("notification_listener");

  // Allowing one adds it to the others: the read-back is the one allowed, in the tablet's form.
  EXPECT_EQ(listener.write(SettingValue::choice("com.lumivale.sync/.Listener"), tablet, serial),
            SettingValue::choice("com.lumivale.sync/com.lumivale.sync.Listener"));
  EXPECT_EQ(listener.read(tablet, serial), SettingValue::choice("org.other/org.other.Watcher"));

  tablet.script.commands.clear();
  EXPECT_EQ(failure([&] { listener.write(SettingValue::choice("com.evil/.Spy"), tablet, serial); }),
            "'notification_listener': com.evil/.Spy is not installed on the tablet");
  EXPECT_EQ(tablet.script.commands.size(), 1u);  // only the query
  for (const auto& each : tablet.script.serials)
    EXPECT_EQ(each, serial);
}

TEST(DeviceSettingTest, HomeAppsLeaveOutTheSettingsFallbackAndTheChooserReadsAsUnset) {
  std::ifstream file(
      std::string(LUMIVALE_ANDROID_OUTPUTS) +
      "/cmd-package-query-activities-brief-home-fireos7-android9-fire-hd10-tablet.txt");
  std::stringstream query;
  query << file.rdbuf();
  ScriptedTablet tablet;
  tablet.on(
      "cmd package query-activities --brief -a android.intent.action.MAIN -c "
      "android.intent.category.HOME",
      query.str());
  tablet.on("cmd package resolve-activity --brief",
            "priority=0 preferredOrder=0 match=0x0 specificIndex=-1 isDefault=false\n"
            "android/com.android.internal.app.ResolverActivity\n");
  const auto& home = named("home_app");
  EXPECT_EQ(home.choices(tablet, serial),
            (std::vector<SettingChoice>{
                {"com.amazon.firelauncher/.Launcher", "com.amazon.firelauncher/.Launcher"},
                {"com.microsoft.launcher/.Launcher", "com.microsoft.launcher/.Launcher"}}));
  EXPECT_EQ(home.read(tablet, serial), std::nullopt);
  EXPECT_EQ(failure([&] {
              home.write(SettingValue::choice("com.android.settings/.FallbackHome"), tablet,
                         serial);
            }),
            "'home_app': com.android.settings/.FallbackHome is not installed on the tablet");
}

TEST(DeviceSettingTest, ScreensaverTurnsItselfOnAndReadsUnsetWhileOff) {
  ScriptedTablet tablet;
  tablet.on("query-services --brief -a android.service.dreams.DreamService",
            "1 services found:\n  Service #0:\n    com.android.dreams.basic/.Colors\n");
  tablet.on("settings put secure", "");
  tablet.on("settings get secure screensaver_enabled", "0\n");
  tablet.on("settings get secure screensaver_components",
            "com.android.dreams.basic/com.android.dreams.basic.Colors\n");
  const auto& screensaver = named("screensaver");
  EXPECT_EQ(screensaver.read(tablet, serial), std::nullopt);
  EXPECT_EQ(screensaver.choices(tablet, serial),
            (std::vector<SettingChoice>{{"com.android.dreams.basic/.Colors", "Colors"}}));

  tablet.lines.clear();
  tablet.script.commands.clear();
  screensaver.write(SettingValue::choice("com.android.dreams.basic/.Colors"), tablet, serial);
  EXPECT_EQ(tablet.lines.size(), 3u);  // query, both puts at once, read-back
  EXPECT_EQ(tablet.script.commands.at(1),
            "settings put secure screensaver_components com.android.dreams.basic/.Colors");
  EXPECT_EQ(tablet.script.commands.at(2), "settings put secure screensaver_enabled 1");
  EXPECT_EQ(screensaver.members, std::vector<std::string>{"screensaver_enabled"});
}

TEST(DeviceSettingTest, DoNotDisturbAndDensityUseTheirOwnCommands) {
  ScriptedTablet tablet;
  tablet.on("cmd notification set_dnd", "");
  tablet.on("settings get global zen_mode", "1\n");
  EXPECT_EQ(named("dnd").write(SettingValue::on(true), tablet, serial), SettingValue::on(true));
  EXPECT_EQ(tablet.script.commands.front(), "cmd notification set_dnd on");
  tablet.on("settings get global zen_mode", "0\n");
  EXPECT_EQ(named("dnd").read(tablet, serial), SettingValue::on(false));

  tablet.on("wm density", "Physical density: 300\nOverride density: 260\n");
  EXPECT_EQ(named("density").read(tablet, serial), SettingValue::level(260));
  named("density").reset(tablet, serial);
  EXPECT_EQ(tablet.script.commands.back(), "wm density reset");

  tablet.on("wm density", "Error: no display\n", 1);
  EXPECT_EQ(failure([&] { named("density").read(tablet, serial); }),
            "unexpected adb output: Error: no display");
}

TEST(DeviceSettingTest, DisplaysTitlesAndUnsetValues) {
  EXPECT_EQ(named("screen_off_timeout").display(SettingValue::choice("600000")), "10 min");
  EXPECT_EQ(named("brightness").display(SettingValue::level(120)), "120");
  EXPECT_EQ(named("dnd").display(SettingValue::on(false)), "off");
  EXPECT_EQ(named("stylus_boost").display(std::nullopt), "Unset on this tablet.");
}

}  // namespace
}  // namespace lumivale
