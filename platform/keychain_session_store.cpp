#include "platform/keychain_session_store.h"

namespace lumivale::platform {

KeychainSessionStore::KeychainSessionStore(std::string service, std::string account,
                                           std::optional<SessionGenerationFile> generationFile)
    : service_(std::move(service)),
      account_(std::move(account)),
      generationFile_(std::move(generationFile)) {}

std::string KeychainSessionStore::locationDescription() const {
  return "In this Mac’s login keychain (" + service_ + ")";
}

}  // namespace lumivale::platform
