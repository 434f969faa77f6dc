#include "platform/secret_library.h"

#include "core/shared_library.h"

namespace lumivale::platform {

SecretLibrary::SecretLibrary(const SharedLibrary& library)
    : passwordStoreSync(LUMIVALE_LIBRARY_FUNCTION(library, secret_password_store_sync)),
      passwordLookupSync(LUMIVALE_LIBRARY_FUNCTION(library, secret_password_lookup_sync)),
      passwordClearSync(LUMIVALE_LIBRARY_FUNCTION(library, secret_password_clear_sync)),
      passwordFree(LUMIVALE_LIBRARY_FUNCTION(library, secret_password_free)),
      // GLib comes in with libsecret, and is searched through its handle.
      errorFree(LUMIVALE_LIBRARY_FUNCTION(library, g_error_free)),
      quarkToString(LUMIVALE_LIBRARY_FUNCTION(library, g_quark_to_string)) {}

const SecretLibrary& secretLibrary() {
  // Initialised once even when several threads ask first; a failure is retried next time.
  static const SecretLibrary library(SharedLibrary("libsecret-1.so.0", "libsecret"));
  return library;
}

}  // namespace lumivale::platform
