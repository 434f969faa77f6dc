#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace lumivale::FuzzInput {

inline std::string_view text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Two inputs from one, for parsers that read two outputs together.
inline std::pair<std::string_view, std::string_view> halves(std::string_view input) {
  return {input.substr(0, input.size() / 2), input.substr(input.size() / 2)};
}

}  // namespace lumivale::FuzzInput
