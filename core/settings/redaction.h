#pragma once

#include <string>
#include <string_view>

namespace lumivale {

// Masks secrets in text bound for the log: bearer and basic credentials, JSON Web
// Tokens, and the values of token-, password- and secret-like keys (in "key=value"
// and JSON form). Every log line passes through here.
std::string redactSecrets(std::string_view text);

}  // namespace lumivale
