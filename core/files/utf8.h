#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace lumivale::utf8 {

// The scalar starting at `at` and its length in bytes; absent for a malformed or
// overlong sequence, a surrogate, or a value past U+10FFFF.
struct Decoded {
  char32_t scalar;
  std::size_t length;
};
std::optional<Decoded> decode(std::string_view text, std::size_t at);

bool isValid(std::string_view text);
void append(std::string& out, char32_t scalar);

// The longest prefix (or suffix) of at most `bytes` bytes that does not split a scalar.
std::string_view head(std::string_view text, std::size_t bytes);
std::string_view tail(std::string_view text, std::size_t bytes);

// Only A-Z change: the tablet's storage folds case that way.
std::string asciiLowered(std::string_view text);

}  // namespace lumivale::utf8
