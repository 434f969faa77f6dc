#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <string>

#include "core/account/portmark_client.h"

namespace lumivale::testing {

// A client of a test server on this machine, as a staff build makes one.
inline PortmarkClient clientFor(const std::string& baseUrl,
                                PortmarkTimeouts timeouts = PortmarkTimeouts::standard()) {
  return PortmarkClient(*HttpUrl::parse(baseUrl), std::make_shared<HttpSession>(), timeouts, true);
}

// An address no other test of this run uses.
inline std::string uniqueEmail(const std::string& name) {
  static std::atomic<int> counter{0};
  return name + "-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + "@example.org";
}

inline const std::string testPassword = "correct horse battery";

// Why the keychain tests cannot run here, or none. They run only inside the private
// D-Bus session that with_secret_service.sh starts, never against a user's keyring.
inline std::optional<std::string> secretServiceMissing() {
  if (const char* reason = std::getenv("LUMIVALE_TEST_NO_SECRET_SERVICE")) return reason;
  if (!std::getenv("LUMIVALE_TEST_PRIVATE_SECRET_SERVICE")) {
    return "not started by with_secret_service.sh, so there is no private Secret Service";
  }
  return std::nullopt;
}

}  // namespace lumivale::testing
