#include <filesystem>

#include "core/settings/config_store.h"
#include "tests/integration/upkeep/upkeep_machine.h"

namespace lumivale::testing {
namespace {

using DiagnosticsCommand = UpkeepMachine;

TEST_F(DiagnosticsCommand, NoSecretOfThisMachineIsAnywhereInTheBundle) {
  const std::string sessionToken = "planted-session-token-8f3a9c1d2e7b";
  const std::string jwt =
      "eyJhbGciOiJFZERTQSJ9.eyJzdWIiOiJ1c2VyLTQyIiwiZXhwIjo0MTAyNDQ0ODAwfQ."
      "c2lnbmVkLWJ5LXRoZS1zZXJ2ZXI";
  const std::string clip = "the copied words of a private letter";
  const std::string email = "ann.private@example.org";
  const std::string checkToken = "wifi-check-token-77aa";
  const std::string password = "hunter2-planted";
  keychain().saveSessionToken(sessionToken);
  ConfigStore::update([&](LumivaleConfig& config) {
    config.email = email;
    config.userId = "user-42";
    config.deviceSerial = tablet->serial();
    config.wifiTablets.push_back({.serial = "LV1-0042",
                                  .model = "LV-1",
                                  .name = "Ann's Lumivale",
                                  .lastIP = "192.168.1.47",
                                  .lastPort = 5555,
                                  .pairedAt = "2026-11-01T10:00:00Z",
                                  .transport = "wifi",
                                  .checkId = "check-id-1",
                                  .checkToken = checkToken});
  });
  write(settings.path() / "clipboard-history.json",
        R"({"version": 1, "items": [{"text": ")" + clip + R"(", "direction": "toMac"}]})");
  // Secrets that strayed into the log: bare, where no key says what they are.
  write(logs / "lumivale.log",
        "2026-11-22 10:00:00.000 [1] info: started\n"
        "2026-11-22 10:00:01.000 [1] info: stored " +
            sessionToken + " for " + email + "\n" + "2026-11-22 10:00:02.000 [1] info: minted " +
            jwt + "\n" + "2026-11-22 10:00:03.000 [1] info: copied " + clip + "\n" +
            "2026-11-22 10:00:04.000 [1] info: password=" + password + " check " + checkToken +
            "\n2026-11-22 10:00:05.000 [1] info: the last line\n");

  ToolRun diagnostics = lumivale({"diagnostics", "bundle.tar.gz"});
  ASSERT_EQ(diagnostics.status, 0) << diagnostics.stderrData;
  EXPECT_EQ(diagnostics.stdoutData, "Wrote bundle.tar.gz.\n");
  auto out = local.path() / "out";
  std::filesystem::create_directories(out);
  ToolRun tar = ToolRun::run(
      "/bin/tar", {"-xzf", (work / "bundle.tar.gz").string(), "-C", out.string()}, Seconds(60));
  ASSERT_EQ(tar.status, 0) << tar.stderrData;

  std::string everything;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(out)) {
    if (!entry.is_regular_file()) continue;
    std::string bytes = contentOf(entry.path());
    for (const auto& secret : {sessionToken, jwt, clip, email, checkToken, password})
      EXPECT_EQ(bytes.find(secret), std::string::npos) << secret << " in " << entry.path();
    everything += bytes;
  }
  // And what a support request needs is there.
  auto bundle = out / "lumivale-diagnostics";
  EXPECT_NE(contentOf(bundle / "versions.txt").find("lumivale "), std::string::npos);
  EXPECT_NE(contentOf(bundle / "adb.txt").find("adb: "), std::string::npos);
  EXPECT_NE(contentOf(bundle / "adb-devices.txt").find(tablet->serial()), std::string::npos)
      << contentOf(bundle / "adb-devices.txt");
  EXPECT_NE(contentOf(bundle / "tablet.json").find("\"model\": \"LV-1\""), std::string::npos)
      << contentOf(bundle / "tablet.json");
  EXPECT_NE(contentOf(bundle / "config.json").find("\"email\": \"[redacted]\""), std::string::npos);
  EXPECT_NE(contentOf(bundle / "config.json").find("\"lastIP\": \"192.168.1.47\""),
            std::string::npos);
  EXPECT_NE(contentOf(bundle / "lumivale.log").find("the last line"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(bundle / "clipboard-history.json"));

  // A bundle is never written over a file already there.
  ToolRun again = lumivale({"diagnostics", "bundle.tar.gz"});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.stderrData, "lumivale: bundle.tar.gz already exists; name another file\n");
}

TEST_F(DiagnosticsCommand, ATabletOutOfReachSaysWhyInItsPlace) {
  ToolRun diagnostics = lumivale({"--serial", "127.0.0.1:9", "diagnostics", "away.tar.gz"});
  ASSERT_EQ(diagnostics.status, 0) << diagnostics.stderrData;
  ToolRun facts = ToolRun::run(
      "/bin/tar", {"-xzOf", (work / "away.tar.gz").string(), "lumivale-diagnostics/tablet.json"},
      Seconds(60));
  EXPECT_EQ(facts.stdoutData,
            "could not be had: no Lumivale with serial '127.0.0.1:9' is connected (see lumivale "
            "devices)\n");
}

}  // namespace
}  // namespace lumivale::testing
