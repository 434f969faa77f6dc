#pragma once

#include <optional>
#include <string>

#include "core/account/session_store.h"
#include "core/bundle_identifier.h"

namespace lumivale::platform {

// The session token in the login keychain: one generic-password item named by
// `service` and `account` (the Secret Service on Linux, the Security framework on
// macOS). Failures read "Keychain error {status}" on macOS; on Linux they say what the
// secret store (the keyring) said, since its error numbers mean nothing to a user.
class KeychainSessionStore : public SessionStore {
 public:
  static inline const std::string defaultService = std::string(bundleIdentifier) + ".portmark";
  static constexpr const char* defaultAccount = "session";

  KeychainSessionStore(std::string service, std::string account,
                       std::optional<SessionGenerationFile> generationFile);

  const std::string& service() const { return service_; }
  const std::string& account() const { return account_; }
  std::string locationDescription() const override;

  std::optional<std::string> loadSessionToken() override;
  void saveSessionToken(const std::string& token) override;
  void clearSessionToken() override;
  std::optional<SessionGenerationFile> generationFile() const override { return generationFile_; }

 private:
  std::string service_;
  std::string account_;
  std::optional<SessionGenerationFile> generationFile_;
};

// Whether the login keychain trusts this program without asking for its password
// each run. The Secret Service has no per-program prompt, so on Linux it always does.
bool keychainTrustsThisProgram();

}  // namespace lumivale::platform
