#include "core/account/session_check.h"

namespace lumivale {

std::string SessionCheck::userMessage() const {
  switch (kind) {
    case Kind::signedIn:
      return {};
    case Kind::offline:
      return "Lumivale’s servers did not answer, so the account can’t be checked. The tablet "
             "controls here still work.";
    case Kind::storeFailed:
      return "Your saved session could not be read from the Keychain.";
    case Kind::noSession:
      return "Not signed in.";
    case Kind::rejected:
      return "Your session expired. Sign in again.";
  }
  return {};
}

}  // namespace lumivale
