#include "core/account/account_session.h"

#include "core/settings/log.h"

#include "core/account/auth_error.h"
#include "core/account/endpoint_policy.h"
#include "core/settings/config_store.h"

namespace lumivale::AccountSession {

namespace {

constexpr int checkAttempts = 3;

std::string generationOf(const SessionHome& home) {
  auto file = home.store.generationFile();
  return file ? file->read() : std::string();
}

template <typename Step>
std::optional<SessionStoreFailure> attempt(Step step) {
  try {
    step();
    return std::nullopt;
  } catch (const SessionStoreFailure& failure) {
    return failure;
  } catch (const Error& error) {
    return SessionStoreFailure(error.message());
  }
}

}  // namespace

std::pair<SessionCheck, std::string> checkWithGeneration(SessionHome& home,
                                                         PortmarkClient& portmark) {
  for (int round = 0; round < checkAttempts; ++round) {
    std::string generation = generationOf(home);
    std::optional<std::string> token;
    if (auto failure = attempt([&] { token = home.store.loadSessionToken(); })) {
      return {SessionCheck::storeFailed(failure->description()), generation};
    }
    if (!token) return {SessionCheck::noSession(), generation};
    std::optional<AuthUser> user;
    try {
      user = portmark.getSession(*token);
    } catch (const AuthError& error) {
      return {SessionCheck::offline(error.message()), generation};
    }
    if (user) return {SessionCheck::signedIn(*user), generation};

    // Remove the rejected token only if it is still the stored one: another process
    // may have signed in while the server was being asked.
    bool moved = false;
    std::optional<SessionStoreFailure> rereadFailure;
    home.lock.with([&] {
      std::optional<std::string> current;
      rereadFailure = attempt([&] { current = home.store.loadSessionToken(); });
      moved = !rereadFailure && (generationOf(home) != generation || current != token);
      if (!moved && !rereadFailure) forgetLocally(home);
    });
    if (rereadFailure) return {SessionCheck::storeFailed(rereadFailure->description()), generation};
    if (!moved) {
      logInfo("the stored session was rejected; signed out");
      return {SessionCheck::rejected(), generationOf(home)};
    }
    logInfo("the stored session changed while it was being checked; checking the new one");
  }
  logWarning("the stored session kept changing while it was being checked");
  throw AuthError(keptChanging);
}

SessionCheck check(SessionHome& home, PortmarkClient& portmark) {
  return checkWithGeneration(home, portmark).first;
}

void adopt(const SignInResult& signIn, SessionHome& home, PortmarkClient& portmark) {
  std::optional<std::string> old;
  home.lock.change(home.store.generationFile(), [&] {
    // An old token that cannot be read is overwritten all the same.
    attempt([&] { old = home.store.loadSessionToken(); });
    if (old) {
      if (auto failure = attempt([&] { home.store.clearSessionToken(); })) {
        throw AuthError(
            "Portmark not changed: the old session could not be removed from the Keychain: " +
            failure->description());
      }
    }
    if (auto failure = attempt([&] { home.store.saveSessionToken(signIn.sessionToken); })) {
      throw AuthError(
          "This Mac could not save your sign-in in its Keychain. Restart the Mac and try again.",
          failure->description());
    }
    home.recordAccount(signIn.user);
  });
  if (old && *old != signIn.sessionToken) portmark.signOut(*old);
}

LocalSignOut signOutLocally(SessionHome& home, bool forgetAccount) {
  LocalSignOut result;
  home.lock.change(home.store.generationFile(), [&] {
    result.readFailure = attempt([&] { result.token = home.store.loadSessionToken(); });
    if (result.readFailure) {
      logWarning(
          "the stored session could not be read before it was removed; Portmark cannot be asked "
          "to end it: {}",
          result.readFailure->description());
    }
    result.removeFailure = attempt([&] { home.store.clearSessionToken(); });
    if (result.removeFailure) {
      logWarning("the stored session could not be removed: {}",
                 result.removeFailure->description());
    }
    if (forgetAccount) {
      result.accountFailure = attempt([&] { home.recordAccount(std::nullopt); });
    }
  });
  return result;
}

LocalSignOut forgetLocally(SessionHome& home) {
  return signOutLocally(home, true);
}

SignOutReport signOut(SessionHome& home,
                      const std::function<bool(const std::string& token)>& endOnServer) {
  SignOutReport report{forgetLocally(home), {}};
  if (report.local.removeFailure) {
    report.notices.push_back("Signed out, but the session could not be removed from the Keychain.");
  }
  if (report.local.accountFailure) report.notices.push_back(report.local.accountFailure->message());
  if (report.local.token && !endOnServer(*report.local.token)) {
    report.notices.push_back(
        "Lumivale’s server did not confirm the sign-out in time; this Mac has forgotten the "
        "sign-in, and the session ends by itself on the server");
  }
  return report;
}

std::optional<std::string> followServerChange(SessionHome& home, const std::string& before,
                                              const std::string& after) {
  auto old = HttpUrl::parse(before);
  auto now = HttpUrl::parse(after);
  if (old && now && EndpointPolicy::sameServer(*old, *now)) return std::nullopt;
  forgetLocally(home);
  return "Signed out: the sign-in server changed";
}

void recordInSettings(const std::optional<AuthUser>& user) {
  ConfigStore::update([&](LumivaleConfig& config) {
    config.email = user ? std::optional(user->email) : std::nullopt;
    config.userId = user ? std::optional(user->id) : std::nullopt;
  });
}

}  // namespace lumivale::AccountSession
