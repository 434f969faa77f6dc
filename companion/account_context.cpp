#include "companion/account_context.h"

#include "core/account/auth_error.h"
#include "core/account/auth_messages.h"
#include "core/account/keychain_policy.h"
#include "core/account/session_lock.h"
#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "platform/keychain_session_store.h"

namespace lumivale::companion {

ChosenSessionStore chooseSessionStore() {
  if (!KeychainPolicy::allowsKeychain(productEnvironment(), platform::keychainTrustsThisProgram()))
    return {std::make_unique<MemorySessionStore>(), KeychainPolicy::unsignedRefusal};
  return {std::make_unique<platform::KeychainSessionStore>(
              platform::KeychainSessionStore::defaultService,
              platform::KeychainSessionStore::defaultAccount,
              SessionGenerationFile::in(ConfigStore::directory())),
          std::nullopt};
}

AccountContext::AccountContext()
    : config_(ConfigStore::load()),
      store_(chooseSessionStore()),
      home_{*store_.store, SessionLock::shared(ConfigStore::directory() / "session.lock"),
            AccountSession::recordInSettings} {}

PortmarkClient AccountContext::portmark() const {
  return PortmarkClient(config_, std::make_shared<HttpSession>());
}

AuthUser signIn(AccountContext& account, const SignInForm& form) {
  std::string problem = AuthMessages::formProblem(form.email, form.password);
  if (!problem.empty()) throw AuthError(problem);
  PortmarkClient portmark = account.portmark();
  SignInResult result = form.createAccount
                            ? portmark.signUpEmail(form.email, form.password, form.name)
                            : portmark.signInEmail(form.email, form.password);
  AccountSession::adopt(result, account.home(), portmark);
  return result.user;
}

SignOutReport signOut(AccountContext& account) {
  return AccountSession::signOut(account.home(), [&](const std::string& token) {
    try {
      return account.portmark().signOut(token);
    } catch (const EndpointRefused&) {
      return false;
    }
  });
}

std::vector<std::string> followSignInServerChange(const LumivaleConfig& before,
                                                  const LumivaleConfig& after) {
  std::vector<std::string> notices;
  if (before.portmarkBaseUrl == after.portmarkBaseUrl) return notices;
  AccountContext account;
  if (account.storeNotice()) notices.push_back(*account.storeNotice());
  auto notice = AccountSession::followServerChange(account.home(), before.portmarkBaseUrl,
                                                   after.portmarkBaseUrl);
  if (notice && (before.email || before.userId)) notices.push_back(*notice);
  return notices;
}

}  // namespace lumivale::companion
