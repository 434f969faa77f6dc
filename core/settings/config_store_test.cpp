#include "core/settings/config_store.h"

#include <sys/stat.h>

#include <fstream>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

using testing::ScopedEnvironment;
using testing::TemporarySettingsFolder;

constexpr const char* minimalFile = R"({
  "portmarkBaseUrl": "https://portmark.test",
  "workerOrigin": "https://worker.test",
  "powerSyncEndpoint": "https://powersync.test",
  "clientSessionId": "mac-1234"
})";

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream content;
  content << in.rdbuf();
  return content.str();
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

RememberedTablet tablet(const std::string& serial) {
  return RememberedTablet{.serial = serial,
                          .model = "LV-1",
                          .name = "Desk tablet",
                          .lastIP = "192.168.1.20",
                          .lastPort = 37000,
                          .pairedAt = "2026-11-21T09:00:00Z",
                          .transport = "tls"};
}

class ConfigStoreTest : public ::testing::Test {
 protected:
  TemporarySettingsFolder folder;
};

TEST_F(ConfigStoreTest, FirstLoadCreatesTheFolderAndKeepsItsSessionIdAfterwards) {
  ASSERT_FALSE(std::filesystem::exists(folder.path()));
  auto first = ConfigStore::load();
  EXPECT_EQ(first, LumivaleConfig::devDefaults());
  EXPECT_TRUE(
      std::regex_match(first.clientSessionId,
                       std::regex("mac-[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                  "[0-9a-f]{12}")))
      << first.clientSessionId;
  EXPECT_TRUE(std::filesystem::exists(folder.path() / "config.json"));

  // The second load reads the file, so the session id it returns is the one written.
  writeFile(folder.path() / "config.json",
            std::regex_replace(readFile(folder.path() / "config.json"),
                               std::regex("\"adbEnabled\": false"), "\"adbEnabled\": true"));
  auto second = ConfigStore::load();
  EXPECT_TRUE(second.adbEnabled);
  EXPECT_EQ(second.clientSessionId, first.clientSessionId);
}

TEST_F(ConfigStoreTest, BuiltInEndpointsAreHttpsUnderTheReservedExampleDomain) {
  const auto& defaults = LumivaleConfig::devDefaults();
  for (const auto& endpoint :
       {defaults.portmarkBaseUrl, defaults.workerOrigin, defaults.powerSyncEndpoint}) {
    auto url = LumivaleConfig::endpointURL(endpoint);
    ASSERT_TRUE(url) << endpoint;
    EXPECT_EQ(url->scheme, "https");
    EXPECT_TRUE(url->host->ends_with(".example")) << endpoint;
  }
}

TEST(ConfigStoreDirectoryTest, OnlyAnAbsoluteConfigDirIsHonoured) {
  ScopedEnvironment data("XDG_DATA_HOME", "/data/home");
  {
    ScopedEnvironment chosen("LUMIVALE_CONFIG_DIR", "/chosen/settings");
    EXPECT_EQ(ConfigStore::directory(), "/chosen/settings");
    EXPECT_EQ(ConfigStore::fileURL(), "/chosen/settings/config.json");
  }
  ScopedEnvironment relative("LUMIVALE_CONFIG_DIR", "relative/settings");
  EXPECT_EQ(ConfigStore::directory(), "/data/home/lumivale");
}

TEST(ConfigStoreDirectoryTest, WithoutAnAbsoluteDataHomeTheFolderIsUnderHome) {
  ScopedEnvironment chosen("LUMIVALE_CONFIG_DIR", std::nullopt);
  ScopedEnvironment home("HOME", "/home/reader");
  for (auto data : {std::optional<std::string>(), std::optional<std::string>("relative/data")}) {
    ScopedEnvironment dataHome("XDG_DATA_HOME", data);
    EXPECT_EQ(ConfigStore::directory(), "/home/reader/.local/share/lumivale");
  }
}

TEST_F(ConfigStoreTest, AbsentKeysTakeTheirDefaults) {
  writeFile(ConfigStore::fileURL(), minimalFile);
  auto config = ConfigStore::load();
  EXPECT_EQ(config.portmarkBaseUrl, "https://portmark.test");
  EXPECT_EQ(config.clientSessionId, "mac-1234");
  EXPECT_FALSE(config.email);
  EXPECT_FALSE(config.userId);
  EXPECT_FALSE(config.deviceSerial);
  EXPECT_FALSE(config.adbEnabled);
  EXPECT_TRUE(config.wifiAfterPlugIn);
  EXPECT_FALSE(config.wifiAllowUnencrypted);
  EXPECT_TRUE(config.wifiTablets.empty());
}

struct UnreadableCase {
  std::string name;
  std::string content;
  std::string reason;
};

std::string withTablets(const std::string& tablets) {
  return R"({"portmarkBaseUrl": "https://p.test", "workerOrigin": "https://w.test",
    "powerSyncEndpoint": "https://s.test", "clientSessionId": "mac-1", "wifiTablets": )" +
         tablets + "}";
}

TEST_F(ConfigStoreTest, AnUnreadableFileGivesItsReasonAndIsLeftAlone) {
  const std::string tabletWithoutPort =
      R"({"serial": "a", "model": "LV-1", "name": "n", "lastIP": "10.0.0.2",
          "pairedAt": "t", "transport": "tls"})";
  const std::vector<UnreadableCase> cases = {
      {"empty", "", "it is not valid JSON"},
      {"cut off", R"({"portmarkBaseUrl": "https://p.test", "workerOr)", "it is not valid JSON"},
      {"not an object", "[1, 2]", "\"\" has the wrong type"},
      {"text for a boolean", std::string(minimalFile).replace(1, 0, R"("adbEnabled": "yes",)"),
       "\"adbEnabled\" has the wrong type"},
      {"null for a required text",
       std::regex_replace(minimalFile, std::regex("\"mac-1234\""), "null"),
       "\"clientSessionId\" has the wrong type"},
      {"missing endpoint", R"({"portmarkBaseUrl": "a", "powerSyncEndpoint": "b",
        "clientSessionId": "c"})",
       "\"workerOrigin\" is missing"},
      {"tablet without a port", withTablets("[" + tabletWithoutPort + "]"),
       "\"lastPort\" is missing"},
      {"port as text",
       withTablets("[" + tabletWithoutPort.substr(0, tabletWithoutPort.size() - 1) +
                   R"(, "lastPort": "5555"})" + "]"),
       "\"wifiTablets.0.lastPort\" has the wrong type"},
      {"tablets not a list", withTablets("{}"), "\"wifiTablets\" has the wrong type"},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    writeFile(ConfigStore::fileURL(), testCase.content);
    try {
      ConfigStore::load();
      ADD_FAILURE() << "loaded";
    } catch (const ConfigUnreadable& error) {
      EXPECT_EQ(error.reason(), testCase.reason);
      EXPECT_EQ(error.message(), "config.json could not be read: " + testCase.reason);
    }
    EXPECT_EQ(readFile(ConfigStore::fileURL()), testCase.content);
  }
}

TEST_F(ConfigStoreTest, AFileThatCannotBeReadGivesTheSystemsReason) {
  std::filesystem::create_directories(ConfigStore::fileURL());
  try {
    ConfigStore::load();
    ADD_FAILURE() << "loaded";
  } catch (const ConfigUnreadable& error) {
    EXPECT_EQ(error.message(), "config.json could not be read: Is a directory");
  }
}

TEST_F(ConfigStoreTest, UpdateOverACorruptFileNeedsAFallback) {
  const std::string corrupt = "{\"portmarkBaseUrl\": ";
  writeFile(ConfigStore::fileURL(), corrupt);
  EXPECT_THROW(ConfigStore::update([](LumivaleConfig& config) { config.adbEnabled = true; }),
               ConfigUnreadable);
  EXPECT_EQ(readFile(ConfigStore::fileURL()), corrupt);

  LumivaleConfig fallback = LumivaleConfig::devDefaults();
  fallback.email = "reader@lumivale.example";
  auto written = ConfigStore::update(
      fallback, [](LumivaleConfig& config) { config.deviceSerial = "LV1A00042"; });
  EXPECT_EQ(written.email, "reader@lumivale.example");
  EXPECT_EQ(written.deviceSerial, "LV1A00042");
  EXPECT_EQ(ConfigStore::load(), written);
}

TEST_F(ConfigStoreTest, AFailingUpdateBodyWritesNothing) {
  ConfigStore::save(LumivaleConfig::devDefaults());
  auto before = readFile(ConfigStore::fileURL());
  EXPECT_THROW(ConfigStore::update([](LumivaleConfig& config) {
                 config.adbEnabled = true;
                 throw Error("no");
               }),
               Error);
  EXPECT_EQ(readFile(ConfigStore::fileURL()), before);
}

TEST_F(ConfigStoreTest, TheWrittenFileIsPrivateSortedAndLeavesOutUnsetOptionals) {
  ConfigStore::update([](LumivaleConfig& config) {
    config.userId = "user-7";
    config.wifiTablets = {tablet("10.0.0.2:37000")};
  });
  struct stat status {};
  ASSERT_EQ(::stat(ConfigStore::fileURL().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);

  auto text = readFile(ConfigStore::fileURL());
  EXPECT_THAT(text, ::testing::HasSubstr("\n  \"userId\": \"user-7\""));
  EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr("null")));
  for (const auto* absent : {"email", "deviceSerial", "accountUserId", "checkPending"})
    EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr(absent)));

  // Keys at each depth in the order they appear: top level (2 spaces) and in a tablet (6).
  for (const auto* indent : {"  ", "      "}) {
    std::vector<std::string> keys;
    std::regex key(std::string("\n") + indent + "\"([A-Za-z]+)\":");
    for (std::sregex_iterator it(text.begin(), text.end(), key), end; it != end; ++it)
      keys.push_back((*it)[1]);
    EXPECT_GT(keys.size(), 6u);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end())) << text;
  }
}

TEST_F(ConfigStoreTest, OptionalBooleansKeepNotSetApartFromFalse) {
  auto planted = tablet("LV1A00042");
  planted.checkPending = false;
  planted.checkToken = "secret";
  auto untouched = tablet("LV1A00043");
  untouched.turnedOnWirelessDebugging = true;
  auto config = LumivaleConfig::devDefaults();
  config.wifiTablets = {planted, untouched};

  ConfigStore::save(config);
  auto loaded = ConfigStore::load();
  EXPECT_EQ(loaded, config);
  ASSERT_EQ(loaded.wifiTablets.size(), 2u);
  EXPECT_EQ(loaded.wifiTablets[0].checkPending, std::optional<bool>(false));
  EXPECT_FALSE(loaded.wifiTablets[0].turnedOnWirelessDebugging.has_value());
  EXPECT_FALSE(loaded.wifiTablets[1].checkPending.has_value());
}

TEST(ConfigStoreFailureTest, AFolderThatCannotBeMadeFailsWithTheSystemsError) {
  ScopedEnvironment chosen("LUMIVALE_CONFIG_DIR", "/dev/null/settings");
  try {
    ConfigStore::save(LumivaleConfig::devDefaults());
    ADD_FAILURE() << "saved";
  } catch (const FileSystemError& error) {
    EXPECT_EQ(error.code(), ENOTDIR);
    EXPECT_EQ(error.message(), "could not create the folder /dev/null/settings: Not a directory");
  }
}

}  // namespace
}  // namespace lumivale
