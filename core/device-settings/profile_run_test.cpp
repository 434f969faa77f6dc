#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "core/device-settings/device_settings.h"
#include "core/device-settings/profile_run.h"
#include "core/device-settings/testing/scripted_tablet.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

using Result = ProfileStep::Result;
using testing::ScriptedTablet;

// Over Wi-Fi: the record belongs to the tablet, not to the connection.
const std::string serial = "192.168.1.47:5555";
const std::string tabletSerial = "LV1-0042";
const auto noon = std::chrono::sys_days{std::chrono::year{2026} / 11 / 22} + std::chrono::hours{12};

// A tablet whose `settings` and do-not-disturb keep what is written to them; a key in
// `refused` fails its writes as a tablet that does not allow them.
class SettingsTablet : public ScriptedTablet {
 public:
  SettingsTablet() {
    values = {{"system screen_brightness", "102"},
              {"system screen_brightness_mode", "0"},
              {"system screen_brightness_amber_rate", "128"},
              {"system screen_off_timeout", "120000"},
              {"global zen_mode", "0"}};
    respond = [this](const std::string& command) -> std::optional<std::pair<std::string, int>> {
      std::istringstream words(command);
      std::string tool, verb, space, key, value;
      words >> tool >> verb >> space >> key >> value;
      if (tool == "cmd" && verb == "notification" && space == "set_dnd") {
        if (refused.contains("global zen_mode")) return std::pair{"SecurityException", 255};
        values["global zen_mode"] = key == "on" ? "2" : "0";
        return std::pair{"", 0};
      }
      if (tool != "settings") return std::pair{"", 0};
      auto name = space + " " + key;
      if (verb == "get") return std::pair{values.contains(name) ? values[name] : "null", 0};
      if (refused.contains(name)) return std::pair{"Permission denial", 255};
      values[name] = value;
      return std::pair{"", 0};
    };
  }

  std::map<std::string, std::string> values;
  std::set<std::string> refused;
};

class ProfileRunTest : public ::testing::Test {
 protected:
  ProfileOutcome apply(const std::string& name) {
    return ProfileRun::apply(DeskProfiles::named(name), tablet, serial, tabletSerial, store, noon);
  }
  ProfileOutcome restore() { return ProfileRun::restore(tablet, serial, tabletSerial, store); }

  testing::TemporaryFolder folder;
  ProfileRecordStore store{folder.path() / "profiles"};
  SettingsTablet tablet;
};

TEST_F(ProfileRunTest, ApplySavesTheOldValuesThenRestorePutsThemBack) {
  auto applied = apply("go-to-bed");
  EXPECT_FALSE(applied.failed());
  EXPECT_EQ(applied.steps.size(), 4u);
  EXPECT_EQ(tablet.values["system screen_brightness"], "20");
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "220");
  EXPECT_EQ(tablet.values["global zen_mode"], "2");

  auto record = store.load(tabletSerial);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->profile, "go-to-bed");
  EXPECT_EQ(record->since, "2026-11-22T12:00:00Z");
  struct stat file {};
  ASSERT_EQ(::stat(store.fileFor(tabletSerial).c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600);

  auto restored = restore();
  EXPECT_FALSE(restored.failed());
  for (const auto& step : restored.steps)
    EXPECT_EQ(step.result, Result::restored) << step.id;
  EXPECT_EQ(tablet.values["system screen_brightness"], "102");
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "128");
  EXPECT_EQ(tablet.values["global zen_mode"], "0");
  EXPECT_EQ(store.load(tabletSerial), std::nullopt);
  try {
    restore();
    FAIL();
  } catch (const ProfileError& error) {
    EXPECT_EQ(error.message(),
              "no profile is active on this tablet, so there is nothing to restore");
  }
}

TEST_F(ProfileRunTest, ASettingChangedSinceIsLeftAndNamed) {
  apply("go-to-bed");
  tablet.values["system screen_brightness"] = "60";  // the user turned the light up
  auto restored = restore();
  ASSERT_EQ(restored.steps.size(), 4u);
  auto brightness = std::find_if(restored.steps.begin(), restored.steps.end(),
                                 [](const ProfileStep& step) { return step.id == "brightness"; });
  EXPECT_EQ(brightness->result, Result::left);
  EXPECT_EQ(brightness->value, SettingValue::level(60));
  EXPECT_EQ(tablet.values["system screen_brightness"], "60");
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "128");
  EXPECT_EQ(store.load(tabletSerial), std::nullopt);  // nothing failed: the record is done
}

TEST_F(ProfileRunTest, ASecondProfileKeepsTheValuesSavedByTheFirst) {
  apply("go-to-bed");
  apply("go-outside");
  EXPECT_EQ(tablet.values["system screen_brightness_mode"], "1");
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "0");
  EXPECT_EQ(store.load(tabletSerial)->profile, "go-outside");

  restore();
  // As before bed, not as bed left it.
  EXPECT_EQ(tablet.values["system screen_brightness_mode"], "0");
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "128");
  EXPECT_EQ(tablet.values["system screen_brightness"], "102");
  EXPECT_EQ(tablet.values["system screen_off_timeout"], "120000");
  EXPECT_EQ(tablet.values["global zen_mode"], "0");
}

TEST_F(ProfileRunTest, AFailedWriteStopsNothingElseAndTheRecordStaysUntilARestoreSucceeds) {
  tablet.refused.insert("global zen_mode");
  auto applied = apply("go-to-bed");
  ASSERT_TRUE(applied.failed());
  EXPECT_EQ(applied.steps[3].id, "dnd");
  EXPECT_EQ(applied.steps[3].result, Result::failed);
  EXPECT_EQ(applied.steps[3].error, "unexpected adb output: SecurityException");
  EXPECT_EQ(tablet.values["system screen_brightness"], "20");  // the rest went on

  // The light's restore is refused too: it stays in the record, the rest is done.
  tablet.refused.insert("system screen_brightness");
  auto restored = restore();
  EXPECT_TRUE(restored.failed());
  EXPECT_EQ(tablet.values["system screen_brightness_amber_rate"], "128");
  auto record = store.load(tabletSerial);
  ASSERT_TRUE(record);
  ASSERT_EQ(record->changes.size(), 1u);
  EXPECT_EQ(record->changes[0].id, "brightness");

  tablet.refused.clear();
  EXPECT_FALSE(restore().failed());
  EXPECT_EQ(tablet.values["system screen_brightness"], "102");
  EXPECT_EQ(store.load(tabletSerial), std::nullopt);
}

TEST_F(ProfileRunTest, AnUnsetSettingIsNotChangedForThereWouldBeNothingToPutBack) {
  tablet.values.erase("system screen_off_timeout");
  auto applied = apply("go-outside");
  EXPECT_EQ(applied.steps[2].result, Result::failed);
  EXPECT_EQ(applied.steps[2].error,
            "'screen_off_timeout' is unset on this tablet, so it was left alone: there would be "
            "nothing to put back");
  EXPECT_FALSE(tablet.values.contains("system screen_off_timeout"));
  EXPECT_EQ(tablet.values["system screen_brightness_mode"], "1");
}

TEST(ProfileRecordStoreTest, EachSerialHasItsOwnFileAndADamagedOneIsNamed) {
  testing::TemporaryFolder folder;
  ProfileRecordStore store(folder.path());
  EXPECT_EQ(store.fileFor("192.168.1.47:5555").filename(), "192.168.1.47%3A5555.json");
  EXPECT_NE(store.fileFor("a:b"), store.fileFor("a_b"));
  ProfileRecord record{"a:b",
                       "go-to-bed",
                       "2026-11-22T12:00:00Z",
                       {{"dnd", SettingValue::on(false), SettingValue::on(true)},
                        {"screen_off_timeout", SettingValue::choice("120000"), std::nullopt}}};
  store.save(record);
  EXPECT_EQ(store.load("a:b"), record);
  EXPECT_EQ(store.load("a_b"), std::nullopt);

  std::ofstream(store.fileFor("a_b")) << "{\"version\": 1";
  try {
    store.load("a_b");
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.message(), store.fileFor("a_b").string() +
                                   " is damaged, so what the profile changed is not known; remove "
                                   "it and set the tablet's settings by hand");
  }
}

TEST(DeskProfilesTest, EveryValueIsOneTheCatalogueTakes) {
  for (const auto& profile : DeskProfiles::all()) {
    for (const auto& [id, value] : profile.values)
      EXPECT_NO_THROW(DeviceSettings::settingNamed(id).validate(value)) << profile.name << id;
  }
  EXPECT_THROW(DeskProfiles::named("go-sailing"), ProfileError);
}

}  // namespace
}  // namespace lumivale
