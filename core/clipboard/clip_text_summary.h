#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumivale {

// A short look at a clipboard's text: its first lines, and how large it is.
struct ClipTextSummary {
  std::vector<std::string> lines;
  bool more = false;  // lines were left out
  std::size_t bytes = 0;
  std::optional<std::size_t> characters;  // absent when the text is not UTF-8

  static ClipTextSummary of(std::string_view text, std::size_t maxLines, std::size_t maxLineLength);

  bool operator==(const ClipTextSummary&) const = default;
};

}  // namespace lumivale
