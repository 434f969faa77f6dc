#include "core/account/keychain_policy.h"

namespace lumivale::KeychainPolicy {

bool allowsKeychain(const std::map<std::string, std::string>& environment, bool appleSigned) {
  if (appleSigned) return true;
  auto restore = environment.find("LUMIVALE_RESTORE");
  return restore != environment.end() && restore->second == "1";
}

}  // namespace lumivale::KeychainPolicy
