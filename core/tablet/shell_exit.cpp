#include "core/tablet/shell_exit.h"

#include "core/checked_number.h"

namespace lumivale::ShellExit {

std::string withMarker(std::string_view line) {
  return std::string(line) + "; printf '\\n" + std::string(marker) + "%d\\n' $?";
}

std::optional<Split> split(std::string_view output) {
  const std::string needle = "\n" + std::string(marker);
  size_t at = output.rfind(needle);
  if (at == std::string_view::npos) return std::nullopt;
  // A status that is not a number an int holds is not one our marker printed.
  auto status = CheckedNumber::leadingDigits<int>(output.substr(at + needle.size()));
  if (!status) return std::nullopt;
  return Split{*status, std::string(output.substr(0, at))};
}

}  // namespace lumivale::ShellExit
