#pragma once

#include <map>
#include <string>

namespace lumivale::KeychainPolicy {

// Why a build that may not use the login keychain keeps the session in memory.
inline constexpr const char* unsignedRefusal =
    "This build of lumivale is not signed, so it does not use the login keychain: every run "
    "would raise the keychain password dialog. Use the signed command-line tool in "
    "~/.local/bin/lumivale, or set LUMIVALE_RESTORE=1 for one run. The sign-in lasts for this run "
    "only.";

// Only a program the keychain trusts uses it (otherwise each run would ask for the
// keychain password), unless LUMIVALE_RESTORE=1 asks for it for one run.
bool allowsKeychain(const std::map<std::string, std::string>& environment, bool appleSigned);

}  // namespace lumivale::KeychainPolicy
