#include <gtest/gtest.h>

#include "core/device-settings/device_settings.h"
#include "core/device-settings/setting_error.h"
#include "core/device-settings/testing/scripted_tablet.h"

namespace lumivale {
namespace {

using testing::ScriptedTablet;

const std::string serial = "LV1-0042";

TEST(DeviceSettingsTest, CatalogueInPaneOrderWithTiersAndControls) {
  std::vector<std::string> ids;
  for (const auto& each : DeviceSettings::all()) {
    ids.push_back(each.id);
    bool changeable = !each.tier.reason();
    EXPECT_EQ(each.isWritable(), changeable) << each.id;
    EXPECT_EQ(each.reader.has_value(), changeable) << each.id;
    EXPECT_EQ(each.canReset(), each.id == "density") << each.id;
    if (!changeable) {
      EXPECT_EQ(each.detail, *each.tier.reason()) << each.id;
    }
  }
  EXPECT_EQ(ids, (std::vector<std::string>{
                     "warmth", "brightness", "auto_brightness", "screen_off_timeout",
                     "stylus_boost", "dnd", "density", "screensaver", "home_app",
                     "notification_listener", "wifi", "private_dns", "kids_mode", "dns_preset",
                     "auto_brightness_preset", "peak_refresh_rate", "amber_hal"}));

  const auto& all = DeviceSettings::all();
  EXPECT_EQ(all[3].tier.label(), "device");
  EXPECT_EQ(all[4].tier.label(), "adb");
  EXPECT_EQ(all[16].tier.label(), "unavailable");
  EXPECT_EQ(all[16].title, "Finer warmth control");
  EXPECT_EQ(all[16].detail, "Warmth already works; a finer control is being looked at.");
  EXPECT_EQ(all[6].detail,
            "wm density 240-320 dpi; Reset returns to the panel’s physical density.");
}

TEST(DeviceSettingsTest, LooksSettingsUpByName) {
  EXPECT_EQ(DeviceSettings::setting("dnd")->title, "Do not disturb");
  EXPECT_EQ(DeviceSettings::setting("nope"), nullptr);
  try {
    DeviceSettings::settingNamed("nope");
    FAIL();
  } catch (const SettingError& error) {
    EXPECT_EQ(error.which(), SettingError::Case::unknown);
    EXPECT_EQ(error.message(), "no setting named 'nope' (see: lumivale setting list)");
  }
}

TEST(DeviceSettingsTest, NumbersNoIntHoldsAreUnexpectedOutputNotCutDown) {
  ScriptedTablet tablet;
  tablet.on("settings get", "null\n");
  tablet.on("screen_brightness", "4294967416\n");
  tablet.on("wm density", "Physical density: 4294967536\n");
  auto readings = DeviceSettings::readAll(tablet, serial);
  auto reading = [&](const std::string& id) {
    return *std::find_if(readings.begin(), readings.end(),
                         [&](const SettingReading& each) { return each.id == id; });
  };
  EXPECT_EQ(reading("brightness").error, "unexpected adb output: 4294967416");
  EXPECT_EQ(reading("density").error, "unexpected adb output: Physical density: 4294967536");
}

TEST(DeviceSettingsTest, AChoiceIsTakenBackAsItIsShown) {
  const auto& timeout = DeviceSettings::settingNamed("screen_off_timeout");
  const auto fiveMinutes = SettingValue::choice("300000");
  EXPECT_EQ(timeout.display(fiveMinutes), "5 min");
  EXPECT_EQ(timeout.parse("5 min"), fiveMinutes);
  EXPECT_EQ(timeout.parse("5 MIN"), fiveMinutes);
  EXPECT_EQ(timeout.parse("5"), fiveMinutes);
  EXPECT_EQ(timeout.parse("300000"), fiveMinutes);
  EXPECT_EQ(timeout.parse("1"), SettingValue::choice("60000"));  // not "10 min"
  EXPECT_THROW(timeout.parse("7"), SettingError);
  EXPECT_THROW(timeout.parse("7 min"), SettingError);
}

TEST(DeviceSettingsTest, ReadsEverythingInOneRoundTripAndSurvivesAFailingReader) {
  ScriptedTablet tablet;
  tablet.on("settings get", "null\n");
  tablet.on("screen_brightness", "120\n");
  tablet.on("screen_brightness_amber_rate", "436\n");
  tablet.on("screen_off_timeout", "45000\n");  // a vendor's time, none of the choices
  tablet.on("zen_mode", "1\n");
  tablet.on("screen_brightness_mode", "sometimes\n");
  tablet.on("wm density", "/system/bin/sh: wm: not found\n", 127);

  auto readings = DeviceSettings::readAll(tablet, serial);
  EXPECT_EQ(tablet.lines.size(), 1u);
  ASSERT_EQ(readings.size(), DeviceSettings::all().size());
  auto reading = [&](const std::string& id) {
    return *std::find_if(readings.begin(), readings.end(),
                         [&](const SettingReading& each) { return each.id == id; });
  };
  EXPECT_EQ(reading("warmth").value, SettingValue::level(180));
  EXPECT_EQ(reading("brightness").value, SettingValue::level(120));
  EXPECT_EQ(reading("dnd").value, SettingValue::on(true));
  EXPECT_EQ(reading("auto_brightness").error, "unexpected adb output: sometimes");
  EXPECT_EQ(reading("density").error, "unexpected adb output: /system/bin/sh: wm: not found");
  for (const char* unset : {"screen_off_timeout", "stylus_boost", "notification_listener"}) {
    EXPECT_EQ(reading(unset).value, std::nullopt) << unset;
    EXPECT_EQ(reading(unset).error, std::nullopt) << unset;
  }
  EXPECT_EQ(reading("wifi"),
            (SettingReading{"wifi", "Wi-Fi radio", DeviceSettings::setting("wifi")->tier,
                            std::nullopt, std::nullopt}));
  EXPECT_EQ(tablet.script.serials, std::vector<std::string>(tablet.script.serials.size(), serial));
}

TEST(DeviceSettingsTest, AFailedRoundTripIsEveryReadersErrorButNotTheUnavailableOnes) {
  ScriptedTablet tablet;
  tablet.failure = "adb: device 'LV1-0042' not found";
  auto readings = DeviceSettings::readAll(tablet, serial);
  EXPECT_EQ(readings.front().error, "adb: device 'LV1-0042' not found");
  EXPECT_EQ(readings.back().error, std::nullopt);
}

}  // namespace
}  // namespace lumivale
