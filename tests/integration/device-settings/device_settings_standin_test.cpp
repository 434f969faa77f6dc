#include <chrono>
#include <filesystem>
#include <future>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/cancelled.h"
#include "core/device-settings/device_settings.h"
#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/adb_bridge.h"
#include "tests/integration/adb_children.h"
#include "tests/integration/broken_tool.h"
#include "tests/integration/standin_cli.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::adbChildren;
using testing::adbRunUnderWay;
using testing::BrokenTool;
using testing::StandinTablet;

// Counts adb round trips on the way to the bridge.
class CountingRunner : public AdbRunner {
 public:
  explicit CountingRunner(AdbRunner& inner) : inner_(inner) {}
  std::string shell(const std::string& serial, const std::string& command, Seconds timeout,
                    const StopToken* stop = nullptr) override {
    ++roundTrips;
    return inner_.shell(serial, command, timeout, stop);
  }
  int roundTrips = 0;

 private:
  AdbRunner& inner_;
};

// One stand-in tablet for the whole suite: starting one costs more than the tests.
class DeviceSettingsOnStandin : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    tablet = new StandinTablet();
    bridge = new AdbBridge("/usr/bin/adb", tablet->adbEnvironment());  // Debian's, from setup
  }
  static void TearDownTestSuite() {
    delete bridge;
    delete tablet;
  }

  static const DeviceSetting& named(const std::string& id) {
    return DeviceSettings::settingNamed(id);
  }
  static std::optional<SettingValue> write(const std::string& id, const SettingValue& value) {
    return named(id).write(value, *bridge, tablet->serial());
  }
  static std::optional<SettingValue> read(const std::string& id) {
    return named(id).read(*bridge, tablet->serial());
  }
  // What the tablet's own `settings get` says, trimmed.
  static std::string stored(const std::string& space, const std::string& key) {
    auto output = tablet->shell("settings get " + space + " " + key).stdoutData;
    return output.substr(0, output.find_last_not_of("\r\n") + 1);
  }

  static inline StandinTablet* tablet = nullptr;
  static inline AdbBridge* bridge = nullptr;
};

TEST_F(DeviceSettingsOnStandin, EveryWritableSettingIsSetAndReadBack) {
  struct Case {
    const char* id;
    SettingValue value;
  };
  for (const auto& [id, value] :
       {Case{"warmth", SettingValue::level(180)}, Case{"brightness", SettingValue::level(77)},
        Case{"auto_brightness", SettingValue::on(true)},
        Case{"auto_brightness", SettingValue::on(false)},
        Case{"screen_off_timeout", SettingValue::choice("300000")},
        Case{"stylus_boost", SettingValue::on(true)}, Case{"dnd", SettingValue::on(true)},
        Case{"dnd", SettingValue::on(false)}, Case{"density", SettingValue::level(280)}}) {
    EXPECT_EQ(write(id, value), value) << id << " " << value.text();
    EXPECT_EQ(read(id), value) << id << " " << value.text();
  }
  EXPECT_EQ(stored("system", "screen_brightness"), "77");
  EXPECT_EQ(stored("system", "screen_off_timeout"), "300000");
  EXPECT_EQ(stored("global", "zen_mode"), "0");
}

TEST_F(DeviceSettingsOnStandin, WarmthLeavesTheShadeOn) {
  tablet->shell("settings put system screen_brightness_amber_rate 300");
  EXPECT_EQ(write("warmth", SettingValue::level(180)), SettingValue::level(180));
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "436");
  tablet->shell("settings put system screen_brightness_amber_rate 20");
  EXPECT_EQ(write("warmth", SettingValue::level(0)), SettingValue::level(0));
  EXPECT_EQ(stored("system", "screen_brightness_amber_rate"), "0");
}

TEST_F(DeviceSettingsOnStandin, DensityResetsToThePhysicalDensity) {
  EXPECT_EQ(write("density", SettingValue::level(240)), SettingValue::level(240));
  EXPECT_EQ(SettingParse::density(tablet->shell("wm density").stdoutData)->override, 240);
  named("density").reset(*bridge, tablet->serial());
  auto density = SettingParse::density(tablet->shell("wm density").stdoutData);
  ASSERT_TRUE(density);
  EXPECT_EQ(density->override, std::nullopt);
  EXPECT_EQ(read("density"), SettingValue::level(density->physical));
}

TEST_F(DeviceSettingsOnStandin, DoNotDisturbGoesThroughNotificationManager) {
  EXPECT_EQ(write("dnd", SettingValue::on(true)), SettingValue::on(true));
  EXPECT_NE(stored("global", "zen_mode"), "0");
  EXPECT_EQ(write("dnd", SettingValue::on(false)), SettingValue::on(false));
  EXPECT_EQ(stored("global", "zen_mode"), "0");
}

TEST_F(DeviceSettingsOnStandin, ChoosingAScreensaverTurnsScreensaversOn) {
  tablet->shell("settings put secure screensaver_enabled 0");
  EXPECT_EQ(read("screensaver"), std::nullopt);
  auto installed = named("screensaver").choices(*bridge, tablet->serial());
  ASSERT_FALSE(installed.empty());
  auto chosen = SettingValue::choice(installed.back().value);
  auto now = write("screensaver", chosen);
  ASSERT_TRUE(now);
  EXPECT_TRUE(named("screensaver").sameValue(*now, chosen));
  EXPECT_EQ(stored("secure", "screensaver_enabled"), "1");
}

TEST_F(DeviceSettingsOnStandin, HomeAppAndListenerAreChosenAmongTheInstalledOnes) {
  for (const char* id : {"home_app", "notification_listener"}) {
    auto installed = named(id).choices(*bridge, tablet->serial());
    ASSERT_GE(installed.size(), 2u) << id;
    for (const auto& choice : {installed[1], installed[0]}) {
      auto now = write(id, SettingValue::choice(choice.value));
      ASSERT_TRUE(now) << id;
      EXPECT_TRUE(named(id).sameValue(*now, SettingValue::choice(choice.value)))
          << id << " reads back " << now->text();
    }
  }
  EXPECT_TRUE(
      named("home_app")
          .sameValue(*read("home_app"),
                     SettingValue::choice(
                         named("home_app").choices(*bridge, tablet->serial()).front().value)));
}

TEST_F(DeviceSettingsOnStandin, AComponentThatIsNotInstalledIsRefused) {
  auto before = read("home_app");
  try {
    write("home_app", SettingValue::choice("com.example.absent/.Home"));
    FAIL() << "an absent launcher was accepted";
  } catch (const SettingError& error) {
    EXPECT_EQ(error.message(),
              "'home_app': com.example.absent/.Home is not installed on the tablet");
  }
  EXPECT_EQ(read("home_app"), before);
}

TEST_F(DeviceSettingsOnStandin, ReadingAllTakesOneRoundTripAndSurvivesABrokenTool) {
  CountingRunner counting(*bridge);
  auto started = std::chrono::steady_clock::now();
  auto readings = DeviceSettings::readAll(counting, tablet->serial());
  auto took = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started);
  RecordProperty("readAllMilliseconds", std::to_string(took.count()));
  EXPECT_EQ(counting.roundTrips, 1);
  for (const auto& reading : readings)
    EXPECT_EQ(reading.error, std::nullopt) << reading.id;

  {
    BrokenTool wm(tablet->rootFolder() / "system/bin/wm", "Error: display manager is gone");
    readings = DeviceSettings::readAll(*bridge, tablet->serial());
  }
  for (const auto& reading : readings) {
    if (reading.id == "density")
      EXPECT_EQ(reading.error, "unexpected adb output: Error: display manager is gone");
    else
      EXPECT_EQ(reading.error, std::nullopt) << reading.id;
  }
  EXPECT_TRUE(readings.front().value);
}

// The command line against the same tablet, with a settings folder of its own.
class SettingCommandsOnStandin : public DeviceSettingsOnStandin {
 protected:
  ToolRun lumivale(const std::vector<std::string>& arguments) {
    return ToolRun::runIn(testing::standinCliEnvironment(*tablet, settings.path()), LUMIVALE_CLI,
                          arguments, Seconds(60));
  }

  testing::TemporaryFolder settings;
};

TEST_F(SettingCommandsOnStandin, ListsTheThreeGroupsWithValuesUnsetOnesAndReasons) {
  tablet->shell("settings put system screen_brightness 140");
  tablet->shell("settings delete secure stylus_refresh_rate_boost");
  ToolRun list = lumivale({"setting", "list"});
  ASSERT_EQ(list.status, 0) << list.stderrData;
  const std::string& out = list.stdoutData;
  auto available = out.find("Available now\n");
  auto advanced = out.find("\nAdvanced\n");
  auto notYet = out.find("\nNot yet available\n");
  ASSERT_NE(available, std::string::npos) << out;
  EXPECT_LT(available, advanced);
  EXPECT_LT(advanced, notYet);
  EXPECT_NE(out.find("brightness             Brightness                140\n"), std::string::npos)
      << out;
  EXPECT_NE(out.find("Faster pen (120 Hz)       Unset on this tablet.\n"), std::string::npos)
      << out;
  EXPECT_NE(out.find("Kids mode                 Needs a tablet update before a Mac can change "
                     "it.\n"),
            std::string::npos)
      << out;

  auto json = nlohmann::json::parse(lumivale({"setting", "list", "--json"}).stdoutData);
  ASSERT_EQ(json.size(), DeviceSettings::all().size());
  EXPECT_EQ(json[1]["value"], "140");  // every value as the text that sets it
  EXPECT_EQ(json[4]["value"], nullptr);
  EXPECT_EQ(json[10]["tier"], "unavailable");
}

TEST_F(SettingCommandsOnStandin, SetsReadsAndRefuses) {
  ToolRun set = lumivale({"warmth", "99"});
  EXPECT_EQ(set.stdoutData, "99\n") << set.stderrData;
  EXPECT_EQ(lumivale({"warmth"}).stdoutData, "99\n");
  EXPECT_EQ(lumivale({"setting", "set", "screen_off_timeout", "600000"}).stdoutData, "10 min\n");
  EXPECT_EQ(lumivale({"setting", "get", "screen_off_timeout"}).stdoutData, "10 min\n");

  // Reading one that cannot be changed holds no value and its reason, not a refusal.
  const std::string reason = "Needs a tablet update before a Mac can change it.";
  ToolRun kids = lumivale({"setting", "get", "kids_mode"});
  EXPECT_EQ(kids.status, 0) << kids.stderrData;
  EXPECT_EQ(kids.stdoutData, reason + "\n");
  auto read = nlohmann::json::parse(lumivale({"setting", "get", "kids_mode", "--json"}).stdoutData);
  EXPECT_EQ(read["value"], nullptr);
  EXPECT_EQ(read["reason"], reason);
  EXPECT_EQ(nlohmann::json::parse(lumivale({"warmth", "--json"}).stdoutData)["reason"], nullptr);
  EXPECT_EQ(lumivale({"setting", "set", "kids_mode", "on"}).stderrData,
            "lumivale: 'kids_mode' cannot be changed from a Mac: " + reason + "\n");

  ToolRun outside = lumivale({"brightness", "256"});
  EXPECT_EQ(outside.status, 2);  // a bad value typed is a usage error
  EXPECT_EQ(outside.stderrData, "lumivale: 'brightness': 256 is outside 0-255\n");

  ToolRun elsewhere = lumivale({"--serial", "127.0.0.1:9", "setting", "list"});
  EXPECT_EQ(elsewhere.status, 1);
  EXPECT_EQ(
      elsewhere.stderrData,
      "lumivale: no Lumivale with serial '127.0.0.1:9' is connected (see lumivale devices)\n");
}

TEST_F(DeviceSettingsOnStandin, ACancelledReadStopsItsAdbRun) {
  tablet->setFault("slow=4000");  // the read waits on the tablet while it is cancelled
  StopToken cancel;
  StoppedAdbRunner runner(*bridge, cancel);
  auto reading = std::async(std::launch::async,
                            [&] { return named("warmth").read(runner, tablet->serial()); });
  ASSERT_TRUE(adbRunUnderWay());
  cancel.cancel();
  EXPECT_THROW(reading.get(), Cancelled);
  EXPECT_EQ(adbChildren(), 0);
  tablet->clearFaults();
}

}  // namespace
}  // namespace lumivale
