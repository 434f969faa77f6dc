#include <fmt/format.h>

#include "core/settings/log.h"
#include "core/shared_library.h"
#include "platform/keychain_session_store.h"
#include "platform/secret_library.h"

namespace lumivale::platform {

namespace {

const SecretSchema* sessionSchema() {
  static const std::string name = std::string(bundleIdentifier) + ".Session";
  static const SecretSchema schema = {name.c_str(),
                                      SECRET_SCHEMA_DONT_MATCH_NAME,
                                      {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                       {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                       {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                      0,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr};
  return &schema;
}

// The secret store's own words, since no status number means anything to a user here.
std::string unreachable(std::string_view why) {
  return fmt::format("the secret store (the keyring) could not be reached: {}", why);
}

// Turns a Secret Service error into the store's failure; the text never holds the secret.
[[noreturn]] void fail(GError* error, const char* action) {
  const std::string why = error ? error->message : "no reason given";
  logWarning("the keychain could not {} the session: {}", action, why);
  std::string domain;
  if (error) {
    domain = secretLibrary().quarkToString(error->domain);
    secretLibrary().errorFree(error);
  }
  // Without a session bus or a running keyring, GIO or D-Bus fails before the store answers.
  if (domain.empty() || domain == "g-io-error-quark" || domain == "g-dbus-error-quark")
    throw SessionStoreFailure(unreachable(why));
  throw SessionStoreFailure(
      fmt::format("the secret store (the keyring) could not {} the session: {}", action, why));
}

// A missing libsecret is one more way for the keychain to be unreachable.
const SecretLibrary& secret() {
  try {
    return secretLibrary();
  } catch (const SharedLibraryError& error) {
    logWarning("the keychain could not be reached: {}", error.message());
    throw SessionStoreFailure(unreachable(error.message()));
  }
}

}  // namespace

std::optional<std::string> KeychainSessionStore::loadSessionToken() {
  GError* error = nullptr;
  gchar* found =
      secret().passwordLookupSync(sessionSchema(), nullptr, &error, "service", service_.c_str(),
                                  "account", account_.c_str(), nullptr);
  if (error) fail(error, "read");
  if (!found) return std::nullopt;
  std::string token(found);
  secret().passwordFree(found);
  return token;
}

void KeychainSessionStore::saveSessionToken(const std::string& token) {
  GError* error = nullptr;
  // Storing under the same attributes replaces the item in place.
  gboolean stored = secret().passwordStoreSync(
      sessionSchema(), SECRET_COLLECTION_DEFAULT, ("Lumivale sign-in (" + service_ + ")").c_str(),
      token.c_str(), nullptr, &error, "service", service_.c_str(), "account", account_.c_str(),
      nullptr);
  if (error || !stored) fail(error, "save");
}

void KeychainSessionStore::clearSessionToken() {
  GError* error = nullptr;
  secret().passwordClearSync(sessionSchema(), nullptr, &error, "service", service_.c_str(),
                             "account", account_.c_str(), nullptr);
  if (error) fail(error, "remove");
}

bool keychainTrustsThisProgram() {
  return true;
}

}  // namespace lumivale::platform
