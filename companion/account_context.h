#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/account/account_session.h"
#include "core/account/portmark_client.h"
#include "core/account/session_store.h"
#include "core/settings/lumivale_config.h"

namespace lumivale::companion {

// The store the session token is kept in: the login keychain when this program may use
// it, else memory for this run only, with the sentence that says why.
struct ChosenSessionStore {
  std::unique_ptr<SessionStore> store;
  std::optional<std::string> notice;  // set when the keychain is not used
};
ChosenSessionStore chooseSessionStore();

// How long a minted JWT is kept before its expiry, and how often the stored session
// is read again, for every JwtSource the front ends build.
inline constexpr double jwtRefreshMargin = 60;
inline constexpr double jwtStoreReadInterval = 600;

// What account work starts from: the settings as they are now, the session's store,
// its lock in the settings folder and the account fields of the settings.
class AccountContext {
 public:
  AccountContext();
  AccountContext(const AccountContext&) = delete;
  AccountContext& operator=(const AccountContext&) = delete;

  const LumivaleConfig& config() const { return config_; }
  SessionStore& store() { return *store_.store; }
  SessionHome& home() { return home_; }
  // Why the keychain is not used, when it is not; for the front end to show.
  const std::optional<std::string>& storeNotice() const { return store_.notice; }

  // The account client for the settings' server. Made when needed: a refused server
  // address must not stop work that needs no server, such as signing out here.
  PortmarkClient portmark() const;

 private:
  LumivaleConfig config_;
  ChosenSessionStore store_;
  SessionHome home_;
};

// What the sign-in and sign-up forms send; `name` only for a new account.
struct SignInForm {
  std::string email;
  std::string password;
  std::optional<std::string> name;
  bool createAccount = false;
};

// Checks the form, signs in (or creates the account) and keeps the new session in
// place of the old one. Fails with AuthError, its sentence as it stands.
AuthUser signIn(AccountContext& account, const SignInForm& form);

// Forgets the sign-in here first, then asks the server to end it; a server address
// that is refused now only skips the asking.
SignOutReport signOut(AccountContext& account);

// A session belongs to its sign-in server: when the server's address changed between
// `before` and `after`, the session here is forgotten. Returns the sentences for the
// user, in order: why the keychain is not used, then that the account was signed out
// (only when an account was known).
std::vector<std::string> followSignInServerChange(const LumivaleConfig& before,
                                                  const LumivaleConfig& after);

}  // namespace lumivale::companion
