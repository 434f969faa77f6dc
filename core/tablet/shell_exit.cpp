#include "core/tablet/shell_exit.h"

#include <charconv>

namespace lumivale::ShellExit {

std::string withMarker(std::string_view line) {
  return std::string(line) + "; printf '\\n" + std::string(marker) + "%d\\n' $?";
}

std::optional<Split> split(std::string_view output) {
  const std::string needle = "\n" + std::string(marker);
  size_t at = output.rfind(needle);
  if (at == std::string_view::npos) return std::nullopt;
  std::string_view digits = output.substr(at + needle.size());
  int status = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), status);
  if (error != std::errc() || end == digits.data()) return std::nullopt;
  return Split{status, std::string(output.substr(0, at))};
}

}  // namespace lumivale::ShellExit
