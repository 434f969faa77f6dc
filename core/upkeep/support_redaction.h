#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumivale::SupportRedaction {

inline constexpr const char* mark = "[redacted]";

// config.json as a support request may carry it: the account's fields, the client
// session id and the Wi-Fi secret checks replaced by the mark. Text that is not the
// settings' JSON is left out whole, since nothing in it can be told safe.
std::string settingsFile(std::string_view text);

// `text` with what the log redacts (credentials, JSON Web Tokens, token-, password- and
// secret-like values) masked, and every occurrence of each of `known` (this machine's own
// secrets: the stored session, clipboard texts, the account's address) too.
std::string scrubbed(std::string_view text, const std::vector<std::string>& known);

// Every string value of a JSON document of `minimumLength` or more, for `known`: the
// clipboard history's texts. None when the text is not JSON.
std::vector<std::string> stringsIn(std::string_view json, size_t minimumLength);

}  // namespace lumivale::SupportRedaction
