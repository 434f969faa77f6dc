#include "core/account/account_session.h"

#include <gtest/gtest.h>

#include "core/account/auth_error.h"

namespace lumivale {
namespace {

// A memory store whose operations can be made to fail as a keychain does.
class FailingStore : public MemorySessionStore {
 public:
  bool failLoad = false, failSave = false, failClear = false;

  std::optional<std::string> loadSessionToken() override {
    if (failLoad) throw SessionStoreFailure(keychainErrorDescription(-25293));
    return MemorySessionStore::loadSessionToken();
  }
  void saveSessionToken(const std::string& token) override {
    if (failSave) throw SessionStoreFailure(keychainErrorDescription(-61));
    MemorySessionStore::saveSessionToken(token);
  }
  void clearSessionToken() override {
    if (failClear) throw SessionStoreFailure(keychainErrorDescription(-25244));
    MemorySessionStore::clearSessionToken();
  }
};

class AccountSessionRules : public ::testing::Test {
 protected:
  std::string failure(const std::function<void()>& step) {
    try {
      step();
    } catch (const Error& error) {
      return error.message();
    }
    return "no failure";
  }

  FailingStore store;
  std::vector<std::optional<AuthUser>> recorded;
  SessionHome home{store, SessionLock::inProcess(),
                   [this](const std::optional<AuthUser>& user) { recorded.push_back(user); }};
  // Nothing listens there; these rules must decide before any request.
  PortmarkClient portmark{*HttpUrl::parse("http://127.0.0.1:9"), std::make_shared<HttpSession>(),
                          PortmarkTimeouts::standard(), true};
  SignInResult signIn{"new-token", {"u-1", "a@example.org", ""}};
};

TEST_F(AccountSessionRules, AnOldSessionThatCannotBeRemovedStopsTheAdoption) {
  store.saveSessionToken("old-token");
  store.failClear = true;
  EXPECT_EQ(failure([&] { AccountSession::adopt(signIn, home, portmark); }),
            "Portmark not changed: the old session could not be removed from the Keychain: "
            "Keychain error -25244");
  EXPECT_EQ(store.MemorySessionStore::loadSessionToken(), "old-token");
  EXPECT_TRUE(recorded.empty());
}

TEST_F(AccountSessionRules, ASessionThatCannotBeSavedIsNotRecorded) {
  store.failSave = true;
  EXPECT_EQ(failure([&] { AccountSession::adopt(signIn, home, portmark); }),
            "This Mac could not save your sign-in in its Keychain. Restart the Mac and try again.");
  EXPECT_TRUE(recorded.empty());
}

TEST_F(AccountSessionRules, SignOutForgetsLocallyBeforeTheServerIsAsked) {
  store.saveSessionToken("token");
  std::optional<std::string> storedWhenAsked = "not asked";
  SignOutReport report = AccountSession::signOut(home, [&](const std::string& token) {
    EXPECT_EQ(token, "token");
    storedWhenAsked = store.loadSessionToken();
    return false;
  });
  EXPECT_EQ(storedWhenAsked, std::nullopt);
  EXPECT_EQ(recorded, (std::vector<std::optional<AuthUser>>{std::nullopt}));
  EXPECT_EQ(report.notices,
            (std::vector<std::string>{
                "Lumivale’s server did not confirm the sign-out in time; this Mac has forgotten "
                "the sign-in, and the session ends by itself on the server"}));
}

TEST_F(AccountSessionRules, SignOutReportsWhatCouldNotBeDoneHere) {
  store.saveSessionToken("token");
  store.failLoad = store.failClear = true;
  bool asked = false;
  SignOutReport report = AccountSession::signOut(home, [&](const std::string&) {
    asked = true;
    return true;
  });
  // Without the token the server cannot be asked to end it.
  EXPECT_FALSE(asked);
  ASSERT_TRUE(report.local.readFailure);
  EXPECT_EQ(report.local.readFailure->description(), "Keychain error -25293");
  EXPECT_EQ(report.notices, (std::vector<std::string>{"Signed out, but the session could not be "
                                                      "removed from the Keychain."}));
  EXPECT_EQ(recorded.size(), 1u);  // the account is forgotten all the same
}

TEST_F(AccountSessionRules, AStoreThatCannotBeReadIsReportedByTheCheck) {
  store.failLoad = true;
  SessionCheck check = AccountSession::check(home, portmark);
  EXPECT_EQ(check, SessionCheck::storeFailed("Keychain error -25293"));
  EXPECT_EQ(check.userMessage(), "Your saved session could not be read from the Keychain.");
}

TEST_F(AccountSessionRules, ANewSignInServerSignsOut) {
  store.saveSessionToken("token");
  EXPECT_EQ(AccountSession::followServerChange(home, "https://id.example", "https://id.example/"),
            std::nullopt);
  EXPECT_EQ(store.loadSessionToken(), "token");
  EXPECT_EQ(
      AccountSession::followServerChange(home, "https://id.example", "https://id.example:8443"),
      "Signed out: the sign-in server changed");
  EXPECT_EQ(store.loadSessionToken(), std::nullopt);
  EXPECT_EQ(recorded, (std::vector<std::optional<AuthUser>>{std::nullopt}));
}

}  // namespace
}  // namespace lumivale
