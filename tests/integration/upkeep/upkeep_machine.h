#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/settings/environment.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/tool_run.h"
#include "platform/keychain_session_store.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/auth_server.h"
#include "tests/integration/standin_cli.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// A machine the program has been used on: a stand-in tablet, the real account server,
// a private keyring, and settings, log and caches in folders of each test's own.
class UpkeepMachine : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (secretServiceMissing()) return;
    tablet = new StandinTablet();
    server = new AuthServer();
  }
  static void TearDownTestSuite() {
    delete server;
    delete tablet;
    server = nullptr;
    tablet = nullptr;
  }

  void SetUp() override {
    if (auto reason = secretServiceMissing()) GTEST_SKIP() << *reason;
    keychain().clearSessionToken();  // the keyring outlives each test's folders
    std::filesystem::create_directories(logs);
    std::filesystem::create_directories(work);
  }

  // `lumivale ARGS...` in the work folder, `input` on its standard input.
  ToolRun lumivale(const std::vector<std::string>& arguments, const std::string& input = "") const {
    std::vector<std::string> line{"-c",
                                  "cd \"$1\" && shift && printf '%s' \"$INPUT\" | exec \"$@\"",
                                  "sh", work.string(), LUMIVALE_CLI};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return ToolRun::runIn(environment(input), "/bin/sh", line, Seconds(180));
  }

  // The same on a pseudo-terminal (through script(1)), with `answers` typed in; what it
  // printed, prompts included, comes back in stdoutData.
  ToolRun onTerminal(const std::vector<std::string>& arguments, const std::string& answers) const {
    std::string line = std::string("exec '") + LUMIVALE_CLI + "'";
    for (const auto& word : arguments)
      line += " '" + word + "'";  // test arguments hold no quotes
    Environment typed = environment(answers);
    typed["LINE"] = line;
    return ToolRun::runIn(
        typed, "/bin/sh",
        {"-c", "cd \"$1\" && printf '%s' \"$INPUT\" | script -qec \"$LINE\" /dev/null", "sh",
         work.string()},
        Seconds(180));
  }

  Environment environment(const std::string& input) const {
    Environment environment = productEnvironment();
    for (const auto& [name, value] : standinCliEnvironment(*tablet, settings.path()))
      environment[name] = value;
    environment["LUMIVALE_LOG_DIR"] = logs.string();
    environment["XDG_CACHE_HOME"] = caches.string();
    environment["INPUT"] = input;
    return environment;
  }

  platform::KeychainSessionStore keychain() const {
    return {platform::KeychainSessionStore::defaultService,
            platform::KeychainSessionStore::defaultAccount,
            SessionGenerationFile::in(settings.path())};
  }

  static void write(const std::filesystem::path& file, const std::string& content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }

  static std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  static inline StandinTablet* tablet = nullptr;
  static inline AuthServer* server = nullptr;
  TemporarySettingsFolder settings;  // LUMIVALE_CONFIG_DIR for this process too
  TemporaryFolder local;
  std::filesystem::path logs = local.path() / "logs";
  std::filesystem::path caches = local.path() / "caches";
  std::filesystem::path work = local.path() / "work";
};

}  // namespace lumivale::testing
