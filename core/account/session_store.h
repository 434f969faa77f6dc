#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/account/session_generation_file.h"
#include "core/error.h"

namespace lumivale {

// The secret store could not do what was asked; description() says why.
class SessionStoreFailure : public Error {
 public:
  explicit SessionStoreFailure(std::string description) : Error(std::move(description)) {}
  const std::string& description() const { return message(); }
};

// "Keychain error {status}", the status being the secret store's own error number.
std::string keychainErrorDescription(long status);

// Where the session token is kept between runs.
class SessionStore {
 public:
  virtual ~SessionStore() = default;
  // None when no session is stored. All three fail with SessionStoreFailure.
  virtual std::optional<std::string> loadSessionToken() = 0;
  virtual void saveSessionToken(const std::string& token) = 0;
  virtual void clearSessionToken() = 0;
  // Where the sign-in is kept, as the settings screen says it.
  virtual std::string locationDescription() const = 0;
  // The file announcing changes of the stored token to other processes, if any.
  virtual std::optional<SessionGenerationFile> generationFile() const { return std::nullopt; }
};

// Holds the token for this process only (a build that may not use the keychain).
class MemorySessionStore : public SessionStore {
 public:
  static constexpr const char* message = "this development build keeps the sign-in in memory only";

  std::optional<std::string> loadSessionToken() override;
  void saveSessionToken(const std::string& token) override;
  void clearSessionToken() override;
  std::string locationDescription() const override { return message; }

 private:
  std::mutex mutex_;
  std::optional<std::string> token_;
};

// Stands for a store that cannot be used: every operation fails with `reason`.
class UnavailableSessionStore : public SessionStore {
 public:
  explicit UnavailableSessionStore(std::string reason) : reason_(std::move(reason)) {}
  std::optional<std::string> loadSessionToken() override;
  void saveSessionToken(const std::string& token) override;
  void clearSessionToken() override;
  std::string locationDescription() const override { return reason_; }

 private:
  std::string reason_;
};

}  // namespace lumivale
