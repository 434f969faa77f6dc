#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "core/account/account_session.h"
#include "core/account/auth_error.h"
#include "core/account/device_code_polling.h"
#include "core/account/jwt_source.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/auth_server.h"

namespace lumivale::testing {
namespace {

class RealAccountServer : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { server = new AuthServer(); }
  static void TearDownTestSuite() {
    delete server;
    server = nullptr;
  }

  static std::string refusal(const std::function<void()>& attempt) {
    try {
      attempt();
    } catch (const AuthError& error) {
      return error.message();
    }
    return "accepted";
  }

  static AuthServer* server;
  PortmarkClient client = clientFor(server->baseUrl());
};

AuthServer* RealAccountServer::server = nullptr;

TEST_F(RealAccountServer, SignUpSignInMintAndSignOut) {
  std::string email = uniqueEmail("reader");
  SignInResult signedUp = client.signUpEmail(email, testPassword, "Ann Reader");
  EXPECT_EQ(signedUp.user.email, email);
  EXPECT_EQ(signedUp.user.name, "Ann Reader");
  ASSERT_FALSE(signedUp.user.id.empty());

  SignInResult signedIn = client.signInEmail(email, testPassword);
  EXPECT_EQ(signedIn.user.id, signedUp.user.id);
  // The signed form from set-auth-token, not the bare token of the body.
  EXPECT_NE(signedIn.sessionToken.find('.'), std::string::npos);
  EXPECT_EQ(client.getSession(signedIn.sessionToken), signedIn.user);

  PortmarkJWT jwt = client.mintJwt(signedIn.sessionToken);
  EXPECT_EQ(jwt.sub, signedUp.user.id);
  EXPECT_GT(jwt.expiresAt, JwtSource::systemClock());

  EXPECT_TRUE(client.signOut(signedIn.sessionToken));
  EXPECT_EQ(client.getSession(signedIn.sessionToken), std::nullopt);
  EXPECT_THROW(client.mintJwt(signedIn.sessionToken), SessionExpired);
  // The other session of the same user is untouched.
  EXPECT_TRUE(client.getSession(signedUp.sessionToken));
}

TEST_F(RealAccountServer, RefusedSignInsSayWhatWentWrong) {
  std::string email = uniqueEmail("taken");
  client.signUpEmail(email, testPassword, std::nullopt);
  EXPECT_EQ(refusal([&] { client.signUpEmail(email, testPassword, std::nullopt); }),
            "There is already a Lumivale account with that email. Sign in instead.");
  EXPECT_EQ(refusal([&] { client.signUpEmail(uniqueEmail("short"), "short", std::nullopt); }),
            "That password is too short.");
  EXPECT_EQ(refusal([&] { client.signInEmail(email, "not the password"); }),
            "That email and password do not match a Lumivale account. Check them and try again.");
  EXPECT_EQ(refusal([&] { client.signInEmail(uniqueEmail("nobody"), testPassword); }),
            "That email and password do not match a Lumivale account. Check them and try again.");
  EXPECT_EQ(refusal([&] { client.signInEmail("not-an-email", testPassword); }),
            "That does not look like an email address.");
}

TEST_F(RealAccountServer, AnUntrustedOriginIsRefused) {
  // The same server under another name: its Origin is not one the server trusts.
  PortmarkClient elsewhere = clientFor("http://localhost:" + std::to_string(server->port()));
  EXPECT_EQ(refusal([&] { elsewhere.signUpEmail(uniqueEmail("origin"), testPassword, ""); }),
            "Lumivale’s server did not accept the sign-in. Try again in a minute; if it keeps "
            "happening, contact Lumivale support (code 403).");
}

TEST_F(RealAccountServer, TheCachedJwtIsReusedUntilWithinTheMargin) {
  SignInResult account = client.signUpEmail(uniqueEmail("jwt"), testPassword, "");
  MemorySessionStore store;
  store.saveSessionToken(account.sessionToken);
  double now = JwtSource::systemClock();
  JwtSource source(client, store, 60, 600, [&] { return now; });

  PortmarkJWT first = source.jwt();
  EXPECT_EQ(first.sub, account.user.id);
  // With the session ended on the server, only a cached JWT can still be had.
  ASSERT_TRUE(client.signOut(account.sessionToken));
  now = first.expiresAt - 61;
  EXPECT_EQ(source.jwt(), first);
  now = first.expiresAt - 59;
  EXPECT_THROW(source.jwt(), SessionExpired);

  source.invalidate();
  store.clearSessionToken();
  EXPECT_THROW(source.jwt(), NotSignedIn);
  EXPECT_EQ(source.epoch(), 1);
}

TEST_F(RealAccountServer, TheStoredTokenIsReadAgainAfterTheInterval) {
  std::string email = uniqueEmail("reread");
  SignInResult first = client.signUpEmail(email, testPassword, "");
  SignInResult second = client.signInEmail(email, testPassword);
  MemorySessionStore store;  // no generation file: changes go unannounced
  store.saveSessionToken(first.sessionToken);
  double now = JwtSource::systemClock();
  JwtSource source(client, store, 60, 600, [&] { return now; });
  PortmarkJWT minted = source.jwt();

  store.saveSessionToken(second.sessionToken);
  ASSERT_TRUE(client.signOut(first.sessionToken));
  now += 599;
  EXPECT_EQ(source.jwt(), minted);
  // Past the interval the new token is read, and minting with it works.
  now += 2;
  EXPECT_EQ(source.jwt().sub, first.user.id);
}

TEST_F(RealAccountServer, ACheckRemovesOnlyASessionTheServerRejects) {
  SignInResult account = client.signUpEmail(uniqueEmail("check"), testPassword, "");
  MemorySessionStore store;
  std::vector<std::optional<AuthUser>> recorded;
  SessionHome home{store, SessionLock::inProcess(),
                   [&](const std::optional<AuthUser>& user) { recorded.push_back(user); }};

  EXPECT_EQ(AccountSession::check(home, client).kind, SessionCheck::Kind::noSession);
  AccountSession::adopt(account, home, client);
  EXPECT_EQ(recorded.back(), account.user);
  EXPECT_EQ(AccountSession::check(home, client), SessionCheck::signedIn(account.user));

  ASSERT_TRUE(client.signOut(account.sessionToken));
  EXPECT_EQ(AccountSession::check(home, client), SessionCheck::rejected());
  EXPECT_EQ(store.loadSessionToken(), std::nullopt);
  EXPECT_EQ(recorded.back(), std::nullopt);
}

TEST_F(RealAccountServer, AdoptingASessionEndsTheOldOneOnTheServer) {
  std::string email = uniqueEmail("adopt");
  SignInResult first = client.signUpEmail(email, testPassword, "");
  SignInResult second = client.signInEmail(email, testPassword);
  MemorySessionStore store;
  SessionHome home{store, SessionLock::inProcess(), [](const std::optional<AuthUser>&) {}};
  AccountSession::adopt(first, home, client);
  AccountSession::adopt(second, home, client);
  EXPECT_EQ(store.loadSessionToken(), second.sessionToken);
  EXPECT_EQ(client.getSession(first.sessionToken), std::nullopt);
}

// Device-code sign-in is switched off in the product, but built: it must still work.
TEST_F(RealAccountServer, ADeviceCodeApprovedBySignedInUserGivesASession) {
  ASSERT_FALSE(PortmarkClient::deviceCodeSignInAvailable);
  SignInResult approver = client.signUpEmail(uniqueEmail("approver"), testPassword, "");
  DeviceCode code = client.startDeviceFlow(PortmarkClient::deviceFlowClientId);
  EXPECT_FALSE(code.userCode.empty());
  EXPECT_EQ(code.interval, 1);

  // What the user does in a browser: look at the code, then approve it.
  auto approve = [&] {
    HttpSession session;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::map<std::string, std::string> headers{{"Authorization", "Bearer " + approver.sessionToken},
                                               {"Origin", server->baseUrl()}};
    HttpRequest look{
        "GET",
        *HttpUrl::parse(server->baseUrl() + "/api/auth/device?user_code=" + code.userCode),
        headers,
        {}};
    if (AccountHTTP::fetch(look, session, NoRedirects::shared, deadline, 65536, true).status !=
        200) {
      throw std::runtime_error("the device code could not be looked at");
    }
    headers["Content-Type"] = "application/json";
    HttpRequest yes{"POST", *HttpUrl::parse(server->baseUrl() + "/api/auth/device/approve"),
                    headers, nlohmann::json{{"userCode", code.userCode}}.dump()};
    if (AccountHTTP::fetch(yes, session, NoRedirects::shared, deadline, 65536, true).status !=
        200) {
      throw std::runtime_error("the device code could not be approved");
    }
  };

  int polls = 0;
  auto outcome = DeviceCodePolling::waitForApproval(
      client, code,
      [&](double seconds) {
        if (polls++ == 1) approve();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
      },
      JwtSource::systemClock, [](const AuthError& error) { FAIL() << error.reason(); });
  ASSERT_EQ(outcome.kind, DeviceCodePolling::Outcome::Kind::approved);
  EXPECT_EQ(client.getSession(outcome.sessionToken).value().id, approver.user.id);
}

TEST(StrictAccountServer, UnconfirmedEmailsThenTooManyTries) {
  AuthServer strict({"--verify", "--rate-limit"});
  PortmarkClient client = clientFor(strict.baseUrl());
  std::string email = uniqueEmail("unconfirmed");
  const std::string confirmFirst =
      "Confirm your email address first (open the link Lumivale sent you), then sign in.";
  try {
    client.signUpEmail(email, testPassword, "");
    FAIL() << "a new account that must confirm its email got a session";
  } catch (const AuthError& error) {
    EXPECT_EQ(error.message(), confirmFirst);
  }
  // The server lets three sign-ins through in its window, then answers 429.
  for (int attempt = 0; attempt < 3; ++attempt) {
    try {
      client.signInEmail(email, testPassword);
      FAIL() << "signed in without confirming the email";
    } catch (const AuthError& error) {
      EXPECT_EQ(error.message(), confirmFirst);
    }
  }
  try {
    client.signInEmail(email, testPassword);
    FAIL() << "the fourth sign-in was not limited";
  } catch (const AuthError& error) {
    EXPECT_EQ(error.message(), "Too many tries. Wait a minute, then try again.");
  }
}

}  // namespace
}  // namespace lumivale::testing
