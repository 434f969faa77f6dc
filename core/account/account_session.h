#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/account/portmark_client.h"
#include "core/account/session_check.h"
#include "core/account/session_lock.h"
#include "core/account/session_store.h"

namespace lumivale {

// Where the session lives: the token's store, the lock that serialises its changes,
// and the account fields of the settings (written with a user, cleared with none).
struct SessionHome {
  SessionStore& store;
  SessionLock& lock;
  std::function<void(const std::optional<AuthUser>&)> recordAccount;
};

// What forgetting the sign-in on this machine did.
struct LocalSignOut {
  std::optional<std::string> token;  // the token that was stored, to end it on the server
  std::optional<SessionStoreFailure> readFailure;
  std::optional<SessionStoreFailure> removeFailure;
  std::optional<SessionStoreFailure> accountFailure;
};

struct SignOutReport {
  LocalSignOut local;
  std::vector<std::string> notices;  // sentences for the user; none when all went well
};

// The stored session's life: checking it, adopting a new one, signing out. Local
// state always changes first and the server is told afterwards, so a server that
// does not answer never leaves this machine half signed in.
namespace AccountSession {

inline constexpr const char* keptChanging =
    "Your sign-in changed in another window or in Terminal while it was being checked. Try "
    "again.";

// Asks the server about the stored token. A token the server rejects is removed,
// unless the stored session changed meanwhile: then the new one is checked.
// Returns the outcome and the generation it belongs to; fails with AuthError
// (keptChanging) when the session would not hold still, or with the lock's failures.
std::pair<SessionCheck, std::string> checkWithGeneration(SessionHome& home,
                                                         PortmarkClient& portmark);
SessionCheck check(SessionHome& home, PortmarkClient& portmark);

// Stores a freshly obtained session in place of the old one and records the account
// in the settings; then asks the server to end the old session.
void adopt(const SignInResult& signIn, SessionHome& home, PortmarkClient& portmark);

// Removes the stored token (and, when asked, the account in the settings).
LocalSignOut signOutLocally(SessionHome& home, bool forgetAccount);
// Removes the session and the account without asking the server (it is already gone
// there, or belongs to another server).
LocalSignOut forgetLocally(SessionHome& home);
// Signs out here, then has `endOnServer` ask the server to end the session (true when
// the server confirmed in time).
SignOutReport signOut(SessionHome& home,
                      const std::function<bool(const std::string& token)>& endOnServer);

// Signs out when the sign-in server's address changed: a session belongs to its
// server. Returns the notice to show, or none.
std::optional<std::string> followServerChange(SessionHome& home, const std::string& before,
                                              const std::string& after);

// Records the signed-in account in config.json (none: forgets it).
void recordInSettings(const std::optional<AuthUser>& user);

}  // namespace AccountSession
}  // namespace lumivale
