#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumivale::AdbHandOff {

// `input text` drops or mangles anything else, so longer or richer text is refused.
inline constexpr size_t maxTypedCharacters = 240;

// Non-empty printable ASCII of at most maxTypedCharacters.
bool isTypeable(std::string_view text);

// The arguments of the `input text` runs that type `text` exactly. `input text` reads
// "%s" as a blank, so blanks are sent as "%s", and a "%s" of the text itself is split
// between two runs, the only way to type it.
std::vector<std::string> inputTextArguments(std::string_view text);

// Where the secret check is left on the tablet: outside the user's storage,
// readable only by the shell user.
inline constexpr const char* checkFile = "/data/local/tmp/lumivale-check";

// An adb argument list as the log may show it: no pairing code, no typed text, no
// secret check being left.
std::string redacted(const std::vector<std::string>& arguments);

}  // namespace lumivale::AdbHandOff
