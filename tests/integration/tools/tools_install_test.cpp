#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "core/crypto_library.h"
#include "core/settings/environment.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/tool_run.h"
#include "tests/integration/account/loopback_server.h"
#include "tests/integration/tools/platform_tools_archive.h"

namespace lumivale::testing {
namespace {
namespace fs = std::filesystem;

// Every file and link under `folder` with its mode and content: what "exactly as it
// was" is compared on.
std::map<std::string, std::string> snapshot(const fs::path& folder) {
  std::map<std::string, std::string> files;
  if (!fs::exists(folder)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    struct stat status {};
    lstat(entry.path().c_str(), &status);
    std::string name = entry.path().lexically_relative(folder).string();
    // The empty lock file that keeps two installs apart is made by the first one.
    if (name == "platform-tools.lock") continue;
    std::ostringstream described;
    described << std::oct << status.st_mode << " ";
    if (entry.is_regular_file()) described << sha1Of(readFile(entry.path()));
    files[name] = described.str();
  }
  return files;
}

enum class Serving { archive, wrongChecksum, cutOff, serverError, stalled };

// `lumivale tools ...` against a manifest and archive served on loopback.
class ToolsInstall : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    TemporaryFolder folder;
    zip = new std::string(platformToolsZip(folder.path()));
  }
  static void TearDownTestSuite() {
    delete zip;
    zip = nullptr;
  }

  LoopbackServer::Response answer(const LoopbackServer::Request& request) {
    std::unique_lock lock(mutex);
    Serving now = serving;
    if (request.path.ends_with(".xml")) {
      std::string sha1 = now == Serving::wrongChecksum ? sha1Of("another archive") : sha1Of(*zip);
      return {200, {}, manifestFor(*zip, sha1)};
    }
    if (request.path != "/repository/platform-tools-linux.zip") return {404, {}, ""};
    switch (now) {
      case Serving::serverError:
        return {500, {}, ""};
      case Serving::cutOff:
        return {200,
                {{"Content-Length", std::to_string(zip->size())}},
                zip->substr(0, zip->size() / 2)};
      case Serving::stalled:
        archiveAsked = true;
        asked.notify_all();
        lock.unlock();
        server.stall(std::chrono::minutes(5));
        return {503, {}, ""};
      default:
        return {200, {}, *zip};
    }
  }

  Environment environment(const Environment& extra = {}) {
    Environment environment = productEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = settings.path().string();
    environment["LUMIVALE_LOG_DIR"] = logs.path().string();
    environment["LUMIVALE_TOOLS_MANIFEST_URL"] = server.baseUrl() + "/repository/manifest.xml";
    for (const auto& [name, value] : extra)
      environment[name] = value;
    return environment;
  }

  ToolRun lumivale(const std::vector<std::string>& arguments, const Environment& extra = {}) {
    return ToolRun::runIn(environment(extra), LUMIVALE_CLI, arguments, Seconds(120));
  }

  ToolRun install() { return lumivale({"tools", "install", "--agree-to-google-terms"}); }

  // Each way an install can fail, and a cancel, leave the folder as it was.
  void everyFailureLeavesTheFolderAsItWas() {
    const auto before = snapshot(settings.path());
    const std::map<Serving, std::string> said{
        {Serving::wrongChecksum,
         "The download of Android’s tools does not match Google’s checksum, so it was not "
         "installed. Try again."},
        {Serving::cutOff, "The download of Android’s tools was cut off after " +
                              std::to_string(zip->size() / 2) +
                              " bytes. Check the connection, then try again."},
        {Serving::serverError,
         "Google’s server answered 500 when asked for Android’s tools. Try again later."}};
    for (const auto& [fault, message] : said) {
      serving = fault;
      ToolRun failed = install();
      EXPECT_EQ(failed.status, 1);
      EXPECT_EQ(failed.stderrData, "lumivale: " + message + "\n");
      EXPECT_EQ(snapshot(settings.path()), before);
    }
    serving = Serving::stalled;
    ToolRun slow = lumivale({"tools", "install", "--agree-to-google-terms"},
                            {{"LUMIVALE_TOOLS_DEADLINE", "3"}});
    EXPECT_EQ(slow.status, 1);
    EXPECT_EQ(slow.stderrData,
              "lumivale: Getting Android’s tools took longer than 3 seconds, so it was stopped. "
              "Check the connection, then try again.\n");
    EXPECT_EQ(snapshot(settings.path()), before);

    {
      std::lock_guard lock(mutex);
      archiveAsked = false;
    }
    auto child = Spawn::launch(LUMIVALE_CLI, {"tools", "install", "--agree-to-google-terms"},
                               environment(), true, true);
    {
      std::unique_lock lock(mutex);
      ASSERT_TRUE(asked.wait_for(lock, std::chrono::seconds(120), [&] { return archiveAsked; }));
    }
    child->signalIfRunning(SIGINT);
    EXPECT_TRUE(child->endsBy(std::chrono::steady_clock::now() + std::chrono::seconds(120)));
    EXPECT_EQ(child->wait(), 130);
    EXPECT_EQ(snapshot(settings.path()), before);
  }

  static std::string* zip;
  std::mutex mutex;
  std::condition_variable asked;
  bool archiveAsked = false;
  std::atomic<Serving> serving = Serving::archive;
  LoopbackServer server{[this](const LoopbackServer::Request& request) { return answer(request); }};
  TemporaryFolder settings;
  TemporaryFolder logs;
};

std::string* ToolsInstall::zip = nullptr;

TEST_F(ToolsInstall, WithoutAgreeingNothingIsDownloaded) {
  ToolRun refused = lumivale({"tools", "install"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.stderrData.find("https://developer.android.com/studio/terms"),
            std::string::npos);
  EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(ToolsInstall, FailuresBeforeAnyCopyLeaveNone) {
  everyFailureLeavesTheFolderAsItWas();
  EXPECT_FALSE(fs::exists(settings.path() / "platform-tools"));
}

TEST_F(ToolsInstall, AnInstalledCopyIsCheckedUsedAndKeptThroughFailedUpdates) {
  ToolRun installed = install();
  ASSERT_EQ(installed.status, 0) << installed.stderrData;
  EXPECT_EQ(installed.stdoutData, "Installed Android’s tools 35.0.2 in " +
                                      (settings.path() / "platform-tools").string() + ".\n");
  fs::path copy = settings.path() / "platform-tools";
  EXPECT_EQ(readFile(copy / "adb"), readFile("/usr/bin/adb"));
  auto receipt = nlohmann::json::parse(readFile(copy / "lumivale-receipt.json"));
  EXPECT_EQ(receipt["version"], "35.0.2");
  EXPECT_EQ(receipt["source"], server.baseUrl() + "/repository/platform-tools-linux.zip");
  EXPECT_EQ(receipt["archiveChecksum"], "sha1:" + sha1Of(*zip));
  EXPECT_EQ(receipt["files"]["adb"], sha256Hex(readFile("/usr/bin/adb")));
  EXPECT_EQ(fs::status(copy / "lumivale-receipt.json").permissions() & fs::perms::all,
            fs::perms::owner_read | fs::perms::owner_write);
  ToolRun checked = lumivale({"tools", "check"});
  EXPECT_EQ(checked.status, 0) << checked.stderrData;

  everyFailureLeavesTheFolderAsItWas();

  // A copy changed after it was installed is no longer used.
  { std::ofstream(copy / "adb", std::ios::app) << "tampered"; }
  ToolRun failedCheck = lumivale({"tools", "check"});
  EXPECT_EQ(failedCheck.status, 1);
  EXPECT_EQ(failedCheck.stderrData,
            "lumivale: The app’s copy of Android’s tools did not pass its check (adb has changed "
            "since it was installed), so it is not used. Run lumivale tools install "
            "--agree-to-google-terms to get them again.\n");
  auto listed = nlohmann::json::parse(lumivale({"tools", "--json"}).stdoutData);
  EXPECT_EQ(listed["candidates"].back()["source"], "lumivaleCopy");
  EXPECT_EQ(listed["candidates"].back()["problem"],
            "failed its check: adb has changed since it was installed");

  // Installing again puts a good copy in its place.
  serving = Serving::archive;
  ASSERT_EQ(install().status, 0);
  EXPECT_EQ(lumivale({"tools", "check"}).status, 0);

  ToolRun removed = lumivale({"tools", "remove"});
  EXPECT_EQ(removed.stdoutData, "Removed Lumivale’s copy of Android’s tools.\n");
  EXPECT_FALSE(fs::exists(copy));
  EXPECT_EQ(lumivale({"tools", "check"}).status, 1);
}

}  // namespace
}  // namespace lumivale::testing
