#include "core/tablet/tablet_shell.h"

#include <fmt/format.h>

#include <cmath>

#include "core/checked_number.h"
#include "core/tablet/tablet_state.h"

namespace lumivale::TabletShell {
namespace {

// The longest first line a message quotes from the tablet.
constexpr std::size_t quotedLineBytes = 300;

bool isBare(std::string_view argument) {
  static constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./:=+,@";
  return !argument.empty() && argument.find_first_not_of(plain) == std::string_view::npos;
}

std::string secondsText(Seconds timeout) {
  const double seconds = timeout.count();
  return seconds == std::floor(seconds) ? fmt::format("{:.0f}", seconds)
                                        : fmt::format("{:.1f}", seconds);
}

}  // namespace

std::string quoted(std::string_view argument) {
  if (isBare(argument)) return std::string(argument);
  std::string out = "'";
  for (char c : argument) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

std::string line(const std::vector<std::string>& arguments) {
  std::string out;
  for (const auto& argument : arguments)
    out += (out.empty() ? "" : " ") + TabletShell::quoted(argument);
  return out;
}

std::string withMarker(std::string_view line) {
  return std::string(line) + "; printf '\\n" + std::string(marker) + "%d\\n' $?";
}

std::optional<ShellResult> split(std::string_view output) {
  const std::string needle = "\n" + std::string(marker);
  size_t at = output.rfind(needle);
  if (at == std::string_view::npos) return std::nullopt;
  // A status that is not a number an int holds is not one our marker printed.
  auto status = CheckedNumber::leadingDigits<int>(output.substr(at + needle.size()));
  if (!status) return std::nullopt;
  return ShellResult{std::string(output.substr(0, at)), *status};
}

std::string firstLine(std::string_view text) {
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    auto each = text.substr(start, end - start);
    while (!each.empty() && (each.back() == '\r' || each.back() == ' '))
      each.remove_suffix(1);
    if (!each.empty()) return std::string(each.substr(0, quotedLineBytes));
    start = end + 1;
  }
  return "";
}

std::string didNotFinish(std::string_view who, Seconds timeout, std::string_view what) {
  return fmt::format("{} did not finish {}{}within {} s", who, what, what.empty() ? "" : " ",
                     secondsText(timeout));
}

std::string notAnswering() {
  return *TabletState(TabletState::notAnswering).refusal();
}

std::string exited(std::string_view what, int status, std::string_view said) {
  return fmt::format("{} exited {}{}{}", what, status, said.empty() ? "" : ": ", said);
}

}  // namespace lumivale::TabletShell
