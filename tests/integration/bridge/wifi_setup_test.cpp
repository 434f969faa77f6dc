// `lumivale wifi setup` over the cable, then the tablet over Wi-Fi alone, through the real
// adb on the stand-in.
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/tool_run.h"
#include "platform/testing/loopback_address.h"
#include "tests/integration/bridge/lumivale_run.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinTablet;

class WifiSetupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-wifi-config-XXXXXX";
    configFolder = ::mkdtemp(pattern);
    // The stand-in's Wi-Fi side listens on loopback: that is its address on the network,
    // and the only one these tests may ever dial.
    ASSERT_EQ(tablet
                  .shell("mkdir -p /data/standin/wifi && echo 127.0.0.1 > "
                         "/data/standin/wifi/address")
                  .status,
              0);
    ASSERT_EQ(tablet.shell("ip route").stdoutData,
              "127.0.0.0/24 dev wlan0 proto kernel scope link src 127.0.0.1\n");
    ASSERT_EQ(lumivale({"use", "--clear"}).status, 0) << "writes the settings file";
    nlohmann::json settings = config();
    settings["userId"] = "u1";
    settings["wifiAllowUnencrypted"] = true;
    writeConfig(settings);
  }
  void TearDown() override { std::filesystem::remove_all(configFolder); }

  // The stand-in's first side counts as the cable; the one `adb tcpip` opens is Wi-Fi.
  ToolRun lumivale(std::vector<std::string> arguments) {
    return testing::runLumivale(tablet, configFolder, arguments);
  }
  nlohmann::json config() { return testing::readSettings(configFolder); }
  void writeConfig(const nlohmann::json& settings) {
    testing::writeSettings(configFolder, settings);
  }

  // Sets Wi-Fi up, then takes the cable away.
  std::string setUpThenUnplug() {
    ToolRun setUp = lumivale({"wifi", "setup"});
    EXPECT_EQ(setUp.status, 0) << setUp.stderrData;
    tablet.disconnect();
    return "127.0.0.1:" + std::to_string(tablet.wifiPort().value_or(0));
  }

  // A `lumivale` command that runs until Ctrl-C (`wifi watch`, `clipboard share`), stopped
  // so at the end of the test.
  class Foreground {
   public:
    explicit Foreground(std::shared_ptr<Spawn::Child> child) : child_(std::move(child)) {}
    Foreground(const Foreground&) = delete;
    Foreground& operator=(const Foreground&) = delete;
    ~Foreground() { interrupt(); }
    // Ctrl-C, then the exit status.
    int interrupt() {
      child_->signalIfRunning(SIGINT);
      if (!status_) status_ = child_->wait();
      return *status_;
    }
    // What it printed since the last call, up to and including `wanted` (or all of it
    // when `wanted` does not come within two minutes).
    std::string readUntil(const std::string& wanted) {
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
      size_t found = std::string::npos;
      while ((found = pending_.find(wanted)) == std::string::npos &&
             std::chrono::steady_clock::now() < deadline) {
        pollfd ready{child_->stdoutPipe()->get(), POLLIN, 0};
        if (::poll(&ready, 1, 1000) <= 0) continue;
        char buffer[512];
        ssize_t count = ::read(child_->stdoutPipe()->get(), buffer, sizeof buffer);
        if (count <= 0) break;
        pending_.append(buffer, static_cast<size_t>(count));
      }
      const size_t end = found == std::string::npos ? pending_.size() : found + wanted.size();
      std::string printed = pending_.substr(0, end);
      pending_.erase(0, end);
      return printed;
    }

   private:
    std::shared_ptr<Spawn::Child> child_;
    std::string pending_;
    std::optional<int> status_;
  };
  Foreground inForeground(const std::vector<std::string>& arguments) {
    Environment environment = tablet.adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = configFolder.string();
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet.serial();
    environment["LUMIVALE_CLIP_PASTEBOARD"] = (configFolder / "pasteboard.json").string();
    return Foreground(Spawn::launch(LUMIVALE_CLI, arguments, environment, true, false));
  }

  StandinTablet tablet;
  std::filesystem::path configFolder;
};

TEST_F(WifiSetupTest, SetUpOverTheCableThenEveryCommandWorksOverWifiAlone) {
  ToolRun setUp = lumivale({"wifi", "setup"});
  ASSERT_EQ(setUp.status, 0) << setUp.stderrData;
  auto port = tablet.wifiPort();
  ASSERT_TRUE(port);
  const std::string wifiSerial = "127.0.0.1:" + std::to_string(*port);
  EXPECT_EQ(setUp.stdoutData, "Wi-Fi is set up for LV-1 at " + wifiSerial + ".\n");

  auto remembered = config()["wifiTablets"];
  ASSERT_EQ(remembered.size(), 1u);
  EXPECT_EQ(remembered[0]["serial"], tablet.serial());
  EXPECT_EQ(remembered[0]["lastIP"], "127.0.0.1");
  EXPECT_EQ(remembered[0]["lastPort"], *port);
  EXPECT_EQ(remembered[0]["accountUserId"], "u1");
  EXPECT_EQ(remembered[0]["transport"], "tcp");
  EXPECT_EQ(remembered[0]["turnedOnWirelessDebugging"], true);
  EXPECT_FALSE(remembered[0].contains("checkPending"));
  EXPECT_EQ(tablet.shell("cat /data/local/tmp/lumivale-check").stdoutData,
            remembered[0]["checkId"].get<std::string>() + "\n" +
                remembered[0]["checkToken"].get<std::string>() + "\n");

  // One tablet, two connections; the cable is used while it is there.
  auto devices = nlohmann::json::parse(lumivale({"devices", "--json"}).stdoutData);
  ASSERT_EQ(devices["tablets"].size(), 1u);
  EXPECT_EQ(devices["tablets"][0]["connections"].size(), 2u);
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + tablet.serial() + "\nscreen: awake\n");

  tablet.disconnect();
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + wifiSerial + "\nscreen: awake\n");
  ToolRun info = lumivale({"info", "--json"});
  ASSERT_EQ(info.status, 0) << info.stderrData;
  EXPECT_EQ(nlohmann::json::parse(info.stdoutData)["model"], "LV-1");
  EXPECT_EQ(lumivale({"warmth", "40"}).status, 0);
  EXPECT_EQ(lumivale({"warmth"}).stdoutData, "40\n");
  ToolRun made = lumivale({"files", "mkdir", "Over the air"});
  EXPECT_EQ(made.status, 0) << made.stderrData;
  EXPECT_NE(lumivale({"files", "ls"}).stdoutData.find("Over the air"), std::string::npos);
}

TEST_F(WifiSetupTest, WifiPreferredIsUsedBesideTheCableOnlyWhileItPassesItsCheck) {
  ASSERT_EQ(lumivale({"wifi", "setup"}).status, 0);
  const std::string wifiSerial = "127.0.0.1:" + std::to_string(tablet.wifiPort().value_or(0));
  std::ofstream(configFolder / "app-settings.json") << R"({"wirelessPreferred": true})";
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + wifiSerial + "\nscreen: awake\n");
  ASSERT_EQ(tablet.shell("printf 'x\\ny\\n' > /data/local/tmp/lumivale-check").status, 0);
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + tablet.serial() + "\nscreen: awake\n");
}

TEST_F(WifiSetupTest, ATabletShowingAnotherCheckIsNotUsed) {
  const std::string wifiSerial = setUpThenUnplug();
  ASSERT_EQ(
      tablet.adbServer()
          ->adb({"-s", wifiSerial, "shell", "printf 'x\\ny\\n' > /data/local/tmp/lumivale-check"})
          .status,
      0);
  ToolRun status = lumivale({"status"});
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData, "notConnected  " + wifiSerial +
                                   "\nConnect your Lumivale with USB-C or over Wi-Fi first.\n");
  EXPECT_EQ(lumivale({"info"}).stderrData,
            "lumivale: Connect your Lumivale with USB-C or over Wi-Fi first.\n");
}

TEST_F(WifiSetupTest, ATabletRememberedByAnotherAccountIsNotUsed) {
  setUpThenUnplug();
  nlohmann::json settings = config();
  settings["userId"] = "u2";
  writeConfig(settings);
  ToolRun status = lumivale({"status"});
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData,
            "notConnected\nConnect your Lumivale with USB-C or over Wi-Fi first.\n");
}

TEST_F(WifiSetupTest, ATabletBackFromSleepIsConnectedAgain) {
  const std::string wifiSerial = setUpThenUnplug();
  const std::string again = tablet.serial() + ": connected again at " + wifiSerial + "\n";
  // Asleep, then back on its port; adb has let go of it, so only the round brings it back.
  auto sleepAndWake = [&] {
    tablet.setFault("sleep=keep-port");
    tablet.adbServer()->adb({"disconnect", wifiSerial});
    tablet.clearFault("sleep");
    EXPECT_EQ(tablet.wifiPort(), std::stoi(wifiSerial.substr(wifiSerial.rfind(':') + 1)));
  };
  sleepAndWake();
  EXPECT_EQ(lumivale({"status"}).status, 1);
  ToolRun connected = lumivale({"wifi", "connect"});
  EXPECT_EQ(connected.status, 0) << connected.stderrData;
  EXPECT_EQ(connected.stdoutData, again);
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + wifiSerial + "\nscreen: awake\n");
  EXPECT_EQ(lumivale({"wifi", "connect"}).stdoutData,
            tablet.serial() + ": connected as " + wifiSerial + "\n");

  // The loop in the foreground: its first round finds the tablet; Ctrl-C ends it.
  sleepAndWake();
  Foreground watch = inForeground({"wifi", "watch"});
  EXPECT_EQ(watch.readUntil(again), again);
  EXPECT_EQ(watch.interrupt(), 130);
}

TEST_F(WifiSetupTest, ANetworkChangeWakesTheWatchAtOnce) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may change an address";
  const std::string wifiSerial = setUpThenUnplug();
  Foreground watch = inForeground({"wifi", "watch"});
  const std::string connectedAs = tablet.serial() + ": connected as " + wifiSerial + "\n";
  ASSERT_EQ(watch.readUntil(connectedAs), connectedAs);

  // Asleep and back; then an address comes and goes on this computer, as when it joins
  // a network, and the loop looks again without waiting for its round.
  tablet.setFault("sleep=keep-port");
  tablet.adbServer()->adb({"disconnect", wifiSerial});
  tablet.clearFault("sleep");
  testing::LoopbackAddress address("127.77." + std::to_string(::getpid() % 250) + ".1/32");
  ASSERT_TRUE(address.added());
  ASSERT_TRUE(address.remove());
  const std::string lookedAgain =
      "The network changed: looking again.\n" + tablet.serial() + ": connected";
  EXPECT_NE(watch.readUntil(lookedAgain).find(lookedAgain), std::string::npos);
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  " + wifiSerial + "\nscreen: awake\n");
  EXPECT_EQ(watch.interrupt(), 130);
}

TEST_F(WifiSetupTest, TheSharedClipboardPausesOverUnencryptedWifi) {
  setUpThenUnplug();
  ToolRun share = testing::runLumivale(
      tablet, configFolder, {"clipboard", "share"}, true,
      {{"LUMIVALE_CLIP_PASTEBOARD", (configFolder / "pasteboard.json").string()}});
  EXPECT_EQ(share.status, 1);
  // The link's status line, then the link ending with the command.
  EXPECT_EQ(share.stdoutData, "Paused: unencrypted Wi-Fi\nOff\n");
  EXPECT_EQ(share.stderrData,
            "lumivale: Paused: your Lumivale is on unencrypted Wi-Fi. Plug in the cable, or set "
            "up encrypted Wi-Fi in Devices.\n");
  EXPECT_EQ(tablet.shell("ls /data/local/tmp/lumivale-clip.dex").status, 1)
      << "nothing was copied to the tablet for it";
}

TEST_F(WifiSetupTest, AForgottenTabletIsNoLongerUsed) {
  const std::string wifiSerial = setUpThenUnplug();
  ToolRun listed = lumivale({"wifi", "list"});
  EXPECT_EQ(listed.stdoutData, tablet.serial() + "  LV-1  " + wifiSerial + "  tcp\n");
  ToolRun unknown = lumivale({"wifi", "forget", "LV1-ELSEWHERE"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.stderrData,
            "lumivale: no Lumivale with serial 'LV1-ELSEWHERE' is set up for Wi-Fi with this "
            "account (see lumivale wifi list)\n");

  ToolRun forgotten = lumivale({"wifi", "forget", tablet.serial()});
  EXPECT_EQ(forgotten.status, 0) << forgotten.stderrData;
  EXPECT_EQ(forgotten.stdoutData, "Forgot LV-1 (" + tablet.serial() + ").\n");
  EXPECT_EQ(config()["wifiTablets"], nlohmann::json::array());
  EXPECT_EQ(lumivale({"status"}).stdoutData,
            "notConnected\nConnect your Lumivale with USB-C or over Wi-Fi first.\n");
  EXPECT_EQ(lumivale({"wifi", "list"}).stdoutData,
            "No Lumivale is set up for Wi-Fi with this account (lumivale wifi setup).\n");
}

// The real adb, with the two commands Debian's lacks answered as a tablet showing its
// pairing code would: `pair` and `mdns services`.
std::filesystem::path scriptedSdk(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder / "platform-tools");
  std::ofstream(folder / "platform-tools/adb") << R"(#!/bin/sh
case "$1" in
pair)
  if [ "$3" != "$PAIRING_CODE" ]; then
    echo "Failed: Wrong password or connection was dropped."
    exit 1
  fi
  echo "Successfully paired to $2 [guid=adb-LV1S0000STANDIN-x1]" ;;
mdns)
  printf 'List of discovered mdns services\n'
  printf 'adb-LV1S0000STANDIN-x1\t_adb-tls-pairing._tcp.\t127.0.0.1:1\n'
  printf 'adb-LV1S0000STANDIN-x1\t_adb-tls-connect._tcp.\t127.0.0.1:%s\n' "$WIFI_PORT" ;;
*) exec /usr/bin/adb "$@" ;;
esac
)";
  std::filesystem::permissions(folder / "platform-tools/adb", std::filesystem::perms::owner_all);
  return folder;
}

TEST_F(WifiSetupTest, PairingWithTheCodeSetsUpAnEncryptedConnection) {
  // Wireless debugging on: the tablet listens on the network.
  ASSERT_EQ(tablet.adb({"tcpip", "5555"}).status, 0);
  const std::string port = std::to_string(*tablet.wifiPort());
  const Environment scripted{{"ANDROID_HOME", scriptedSdk(configFolder / "sdk").string()},
                             {"PAIRING_CODE", "482913"},
                             {"WIFI_PORT", port}};
  auto pair = [&](const std::string& address, const std::string& code, const Environment& extra) {
    return testing::runLumivale(tablet, configFolder, {"wifi", "pair", address, code}, true, extra);
  };
  EXPECT_EQ(pair("127.0.0.1", "482913", scripted).stderrData,
            "lumivale: refusing adb pair: '127.0.0.1' is not host:port\n");
  EXPECT_EQ(pair("127.0.0.1:37099", "48291", scripted).stderrData,
            "lumivale: refusing adb pair: the code is not six digits\n");
  EXPECT_EQ(pair("127.0.0.1:37099", "111111", scripted).status, 1);
  ToolRun debian = pair("127.0.0.1:37099", "482913", {});
  EXPECT_EQ(debian.status, 1);
  EXPECT_EQ(debian.stderrData,
            "lumivale: The adb in use (/usr/bin/adb) cannot pair with a code. Get Google’s own "
            "with lumivale tools install --agree-to-google-terms, then pair again; or set up "
            "Wi-Fi over the cable with lumivale wifi setup.\n");
  EXPECT_EQ(config()["wifiTablets"], nlohmann::json::array());

  ToolRun paired = pair("127.0.0.1:37099", "482913", scripted);
  ASSERT_EQ(paired.status, 0) << paired.stderrData;
  EXPECT_EQ(paired.stdoutData, "Paired; Wi-Fi is set up for LV-1 at 127.0.0.1:" + port + ".\n");
  auto remembered = config()["wifiTablets"];
  ASSERT_EQ(remembered.size(), 1u);
  EXPECT_EQ(remembered[0]["serial"], "LV1S0000STANDIN");
  EXPECT_EQ(remembered[0]["transport"], "tls");
  EXPECT_EQ(remembered[0]["mdnsName"], "adb-LV1S0000STANDIN-x1");
  EXPECT_FALSE(remembered[0].contains("checkPending"));
  tablet.disconnect();
  EXPECT_EQ(lumivale({"status"}).stdoutData, "ready  127.0.0.1:" + port + "\nscreen: awake\n");
  // Encrypted: the shared clipboard runs over it.
  Foreground share = inForeground({"clipboard", "share"});
  EXPECT_EQ(share.readUntil("On over Wi-Fi\n"), "Waiting for your Lumivale\nOn over Wi-Fi\n");
  EXPECT_EQ(share.interrupt(), 0);
}

TEST_F(WifiSetupTest, SetUpNeedsAnAccountAndUnencryptedWifiAllowed) {
  nlohmann::json settings = config();
  settings["wifiAllowUnencrypted"] = false;
  writeConfig(settings);
  ToolRun refused = lumivale({"wifi", "setup"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stderrData,
            "lumivale: Wi-Fi set up over the cable is not encrypted, and this Mac allows only "
            "encrypted Wi-Fi. Pair with a code instead (lumivale wifi pair HOST:PORT CODE), or "
            "allow it with lumivale config set wifiAllowUnencrypted true.\n");
  settings["wifiAllowUnencrypted"] = true;
  settings.erase("userId");
  writeConfig(settings);
  refused = lumivale({"wifi", "setup"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stderrData,
            "lumivale: Sign in first (lumivale account signin), so that this Mac remembers your "
            "Lumivale for your account.\n");
  EXPECT_EQ(tablet.wifiPort(), std::nullopt) << "nothing was switched on";
  EXPECT_EQ(config()["wifiTablets"], nlohmann::json::array());
}

}  // namespace
}  // namespace lumivale
