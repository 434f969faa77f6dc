#pragma once

#include <libsecret/secret.h>

namespace lumivale {
class SharedLibrary;
}

namespace lumivale::platform {

// libsecret's functions, loaded on first use: linking it would load GLib, GIO and
// D-Bus at the start of every command.
struct SecretLibrary {
  explicit SecretLibrary(const SharedLibrary& library);

  decltype(&secret_password_store_sync) passwordStoreSync;
  decltype(&secret_password_lookup_sync) passwordLookupSync;
  decltype(&secret_password_clear_sync) passwordClearSync;
  decltype(&secret_password_free) passwordFree;
  decltype(&g_error_free) errorFree;
  decltype(&g_quark_to_string) quarkToString;
};

// Loads libsecret once; throws SharedLibraryError when it cannot be loaded.
const SecretLibrary& secretLibrary();

}  // namespace lumivale::platform
