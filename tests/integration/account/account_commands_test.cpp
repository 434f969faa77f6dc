#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "core/account/account_session.h"
#include "core/account/jwt_decoder.h"
#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/tool_run.h"
#include "platform/keychain_session_store.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/auth_server.h"
#include "tests/integration/account/loopback_server.h"

namespace lumivale::testing {
namespace {

// `lumivale account ...` run as its own process, the password on standard input.
class AccountCommands : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!secretServiceMissing()) server = new AuthServer();
  }
  static void TearDownTestSuite() {
    delete server;
    server = nullptr;
  }

  void SetUp() override {
    if (auto reason = secretServiceMissing()) GTEST_SKIP() << *reason;
    keychain().clearSessionToken();  // the keychain outlives each test's settings folder
    pointAt(server->baseUrl());
  }

  void pointAt(const std::string& baseUrl) {
    ConfigStore::update([&](LumivaleConfig& config) { config.portmarkBaseUrl = baseUrl; });
  }

  ToolRun lumivale(const std::vector<std::string>& arguments, const std::string& input = "",
                   const Environment& extra = {}) {
    std::string command = "printf '%s\\n' \"$INPUT\" | exec \"$LUMIVALE\"";
    for (size_t i = 0; i < arguments.size(); ++i)
      command += " \"$" + std::to_string(i + 1) + "\"";
    std::vector<std::string> shellArguments{"-c", command, "lumivale"};
    shellArguments.insert(shellArguments.end(), arguments.begin(), arguments.end());
    Environment environment = productEnvironment();
    environment["INPUT"] = input;
    environment["LUMIVALE"] = LUMIVALE_CLI;
    for (const auto& [name, value] : extra)
      environment[name] = value;
    return ToolRun::runIn(environment, "/bin/sh", shellArguments, Seconds(60));
  }

  static nlohmann::json settingsFile() {
    std::ifstream file(ConfigStore::fileURL());
    return nlohmann::json::parse(file);
  }

  platform::KeychainSessionStore keychain() {
    return {platform::KeychainSessionStore::defaultService,
            platform::KeychainSessionStore::defaultAccount,
            SessionGenerationFile::in(ConfigStore::directory())};
  }

  static AuthServer* server;
  TemporarySettingsFolder settings;
};

AuthServer* AccountCommands::server = nullptr;

TEST_F(AccountCommands, AnUnreachableKeyringSaysSoAndWhy) {
  // A session bus address that leads nowhere: the keyring cannot be asked at all.
  ToolRun token = lumivale(
      {"account", "token"}, "",
      {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/lumivale-bus"}, {"DISPLAY", ""}});
  EXPECT_EQ(token.status, 1);
  const std::string said = "lumivale: the secret store (the keyring) could not be reached: ";
  EXPECT_EQ(token.stderrData.substr(0, said.size()), said) << token.stderrData;
  // The keyring's own reason follows, never a bare number.
  EXPECT_GT(token.stderrData.size(), said.size() + 2);
  EXPECT_EQ(token.stderrData.find("Keychain error"), std::string::npos);
}

TEST_F(AccountCommands, ASignInIsSeenByTheNextProcess) {
  std::string email = uniqueEmail("cli");
  ToolRun signUp = lumivale(
      {"account", "signup", "--email", email, "--name", "Ann", "--password-stdin"}, testPassword);
  ASSERT_EQ(signUp.status, 0) << signUp.stderrData;
  EXPECT_EQ(signUp.stdoutData, "Signed in as " + email + ".\n");
  ToolRun status = lumivale({"account", "status"});
  EXPECT_EQ(status.status, 0) << status.stderrData;
  EXPECT_EQ(status.stdoutData, "Signed in as " + email + ".\n");
  auto shown = nlohmann::json::parse(lumivale({"account", "status", "--json"}).stdoutData);
  EXPECT_EQ(shown["sessionStore"], std::string("In this Mac’s login keychain (") +
                                       platform::KeychainSessionStore::defaultService + ")");
  nlohmann::json settings = settingsFile();
  EXPECT_EQ(settings["email"], email);

  ToolRun token = lumivale({"account", "token"});
  ASSERT_EQ(token.status, 0) << token.stderrData;
  PortmarkJWT jwt = JWTDecoder::parse(token.stdoutData.substr(0, token.stdoutData.size() - 1));
  EXPECT_EQ(jwt.sub, settings["userId"]);
}

TEST_F(AccountCommands, SigningOutForgetsTheSessionHereEvenWhenTheServerIsGone) {
  std::string email = uniqueEmail("signout");
  ASSERT_EQ(
      lumivale({"account", "signup", "--email", email, "--password-stdin"}, testPassword).status,
      0);
  auto keychainStore = keychain();
  std::string token = keychainStore.loadSessionToken().value();

  // A server that fails every request: the sign-out still happens here.
  LoopbackServer failing([](const LoopbackServer::Request&) {
    return LoopbackServer::Response{500, {}, "{}"};
  });
  pointAt(failing.baseUrl());
  ToolRun signOut = lumivale({"account", "signout"});
  EXPECT_EQ(signOut.status, 0);
  EXPECT_EQ(signOut.stdoutData, "Signed out.\n");
  EXPECT_EQ(signOut.stderrData,
            "lumivale: Lumivale’s server did not confirm the sign-out in time; this Mac has "
            "forgotten the sign-in, and the session ends by itself on the server\n");
  EXPECT_EQ(keychainStore.loadSessionToken(), std::nullopt);
  EXPECT_FALSE(settingsFile().contains("email"));
  EXPECT_FALSE(settingsFile().contains("userId"));

  ToolRun status = lumivale({"account", "status"});
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.stdoutData, "Not signed in.\n");
  // The session is still alive on the real server, which was never told.
  EXPECT_TRUE(clientFor(server->baseUrl()).getSession(token));

  pointAt(server->baseUrl());
  ASSERT_EQ(
      lumivale({"account", "signin", "--email", email, "--password-stdin"}, testPassword).status,
      0);
  token = keychainStore.loadSessionToken().value();
  EXPECT_EQ(lumivale({"account", "signout"}).stderrData, "");
  EXPECT_EQ(clientFor(server->baseUrl()).getSession(token), std::nullopt);
}

TEST_F(AccountCommands, PointingAtAnotherSignInServerSignsOut) {
  std::string email = uniqueEmail("moved");
  ASSERT_EQ(
      lumivale({"account", "signup", "--email", email, "--password-stdin"}, testPassword).status,
      0);
  // The same server spelt with a final slash is not a change.
  ToolRun same = lumivale({"config", "set", "portmarkBaseUrl", server->baseUrl() + "/"});
  EXPECT_EQ(same.stderrData, "");
  EXPECT_TRUE(keychain().loadSessionToken());

  ToolRun moved = lumivale({"config", "set", "portmarkBaseUrl", "http://127.0.0.1:9"});
  EXPECT_EQ(moved.status, 0);
  EXPECT_EQ(moved.stderrData, "lumivale: Signed out: the sign-in server changed\n");
  EXPECT_EQ(keychain().loadSessionToken(), std::nullopt);
  EXPECT_FALSE(settingsFile().contains("email"));
  EXPECT_EQ(lumivale({"account", "status"}).stdoutData, "Not signed in.\n");
}

// Reads what the terminal shows until `wanted` appears or the program ends.
std::string readScreen(int terminal, const std::string& wanted = "") {
  std::string screen;
  while (wanted.empty() || screen.find(wanted) == std::string::npos) {
    pollfd ready{terminal, POLLIN, 0};
    if (poll(&ready, 1, 20000) <= 0) break;
    char buffer[512];
    ssize_t count = read(terminal, buffer, sizeof buffer);
    if (count <= 0) break;  // EIO once the program has ended
    screen.append(buffer, static_cast<size_t>(count));
  }
  return screen;
}

TEST_F(AccountCommands, ThePasswordIsAskedForWithoutEcho) {
  std::string email = uniqueEmail("prompt");
  int terminal = -1;
  pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    execl(LUMIVALE_CLI, "lumivale", "account", "signup", "--email", email.c_str(), nullptr);
    _exit(127);
  }
  std::string screen = readScreen(terminal, "Password: ");
  std::string typed = testPassword + "\n";
  ASSERT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  screen += readScreen(terminal);
  close(terminal);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0) << screen;
  EXPECT_NE(screen.find("Signed in as " + email + "."), std::string::npos) << screen;
  EXPECT_EQ(screen.find(testPassword), std::string::npos) << screen;
}

TEST_F(AccountCommands, RefusalsAndFormChecksAreShownAsTheyStand) {
  ToolRun badEmail = lumivale({"account", "signin", "--email", "nobody", "--password-stdin"}, "x");
  EXPECT_EQ(badEmail.status, 1);
  EXPECT_EQ(badEmail.stderrData, "lumivale: That does not look like an email address.\n");
  ToolRun noPassword =
      lumivale({"account", "signin", "--email", "a@example.org", "--password-stdin"}, "");
  EXPECT_EQ(noPassword.stderrData, "lumivale: Enter your password.\n");
  ToolRun wrong = lumivale(
      {"account", "signin", "--email", uniqueEmail("none"), "--password-stdin"}, testPassword);
  EXPECT_EQ(wrong.stderrData,
            "lumivale: That email and password do not match a Lumivale account. Check them and "
            "try again.\n");
  ToolRun token = lumivale({"account", "token"});
  EXPECT_EQ(token.status, 1);
  EXPECT_EQ(token.stderrData, "lumivale: Not signed in.\n");

  // The refusal is logged with the server's code, the password never.
  std::ifstream log(ConfigStore::directory() / "logs" / "lumivale.log");
  std::string logText((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  EXPECT_NE(logText.find("sign-in refused with status 401 (invalid_email_or_password)"),
            std::string::npos);
  EXPECT_EQ(logText.find(testPassword), std::string::npos);
}

// Another process signs in while a check is asking the server about the old token:
// the check must look at the new session rather than remove it.
TEST_F(AccountCommands, ACheckStartsOverWhenTheSessionChangesUnderIt) {
  std::string email = uniqueEmail("race");
  PortmarkClient real = clientFor(server->baseUrl());
  real.signUpEmail(email, testPassword, "");
  auto store = keychain();
  SessionHome home{store, SessionLock::shared(ConfigStore::directory() / "session.lock"),
                   AccountSession::recordInSettings};
  AccountSession::adopt({"old-token", {"u-old", email, ""}}, home, real);

  bool signedInElsewhere = false;
  LoopbackServer gate([&](const LoopbackServer::Request& request) {
    std::string bearer = request.headers.at("authorization").substr(7);
    if (bearer == "old-token") {
      // Between the check's read and its removal: a sign-in in another process.
      signedInElsewhere =
          lumivale({"account", "signin", "--email", email, "--password-stdin"}, testPassword)
              .status == 0;
      return LoopbackServer::Response{200, {}, "null"};
    }
    nlohmann::json user{{"id", "checked " + bearer}, {"email", email}};
    return LoopbackServer::Response{200, {}, nlohmann::json{{"user", user}}.dump()};
  });
  // The gate answers only after a whole sign-in in another process, slow under the sanitizers.
  PortmarkTimeouts patient;
  patient.session = 120;
  PortmarkClient checker = clientFor(gate.baseUrl(), patient);
  auto [check, generation] = AccountSession::checkWithGeneration(home, checker);
  ASSERT_TRUE(signedInElsewhere);
  std::string newToken = store.loadSessionToken().value_or("removed");
  ASSERT_EQ(check.kind, SessionCheck::Kind::signedIn);
  EXPECT_EQ(check.user->id, "checked " + newToken);
  EXPECT_EQ(generation, store.generationFile()->read());
  EXPECT_TRUE(real.getSession(newToken));
}

}  // namespace
}  // namespace lumivale::testing
