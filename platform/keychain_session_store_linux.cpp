#include <libsecret/secret.h>
#include "core/settings/log.h"

#include "platform/keychain_session_store.h"

namespace lumivale::platform {

namespace {

const SecretSchema* sessionSchema() {
  static const SecretSchema schema = {"com.lumivale.mac.Session",
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

// Turns a Secret Service error into the store's failure; the text goes to the log
// only (it never holds the secret).
[[noreturn]] void fail(GError* error, const char* action) {
  long code = error ? error->code : -1;
  logger().warn("the keychain could not {} the session: {}", action,
                error ? error->message : "no reason given");
  if (error) g_error_free(error);
  throw SessionStoreFailure(keychainErrorDescription(code));
}

}  // namespace

std::optional<std::string> KeychainSessionStore::loadSessionToken() {
  GError* error = nullptr;
  gchar* secret =
      secret_password_lookup_sync(sessionSchema(), nullptr, &error, "service", service_.c_str(),
                                  "account", account_.c_str(), nullptr);
  if (error) fail(error, "read");
  if (!secret) return std::nullopt;
  std::string token(secret);
  secret_password_free(secret);
  return token;
}

void KeychainSessionStore::saveSessionToken(const std::string& token) {
  GError* error = nullptr;
  // Storing under the same attributes replaces the item in place.
  gboolean stored = secret_password_store_sync(
      sessionSchema(), SECRET_COLLECTION_DEFAULT, ("Lumivale sign-in (" + service_ + ")").c_str(),
      token.c_str(), nullptr, &error, "service", service_.c_str(), "account", account_.c_str(),
      nullptr);
  if (error || !stored) fail(error, "save");
}

void KeychainSessionStore::clearSessionToken() {
  GError* error = nullptr;
  secret_password_clear_sync(sessionSchema(), nullptr, &error, "service", service_.c_str(),
                             "account", account_.c_str(), nullptr);
  if (error) fail(error, "remove");
}

bool keychainTrustsThisProgram() {
  return true;
}

}  // namespace lumivale::platform
