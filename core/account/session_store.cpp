#include "core/account/session_store.h"

#include <fmt/format.h>

namespace lumivale {

std::string keychainErrorDescription(long status) {
  return fmt::format("Keychain error {}", status);
}

std::optional<std::string> MemorySessionStore::loadSessionToken() {
  std::lock_guard lock(mutex_);
  return token_;
}

void MemorySessionStore::saveSessionToken(const std::string& token) {
  std::lock_guard lock(mutex_);
  token_ = token;
}

void MemorySessionStore::clearSessionToken() {
  std::lock_guard lock(mutex_);
  token_.reset();
}

std::optional<std::string> UnavailableSessionStore::loadSessionToken() {
  throw SessionStoreFailure(reason_);
}

void UnavailableSessionStore::saveSessionToken(const std::string&) {
  throw SessionStoreFailure(reason_);
}

void UnavailableSessionStore::clearSessionToken() {
  throw SessionStoreFailure(reason_);
}

}  // namespace lumivale
