#include "core/account/retry_after.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

#include "core/checked_number.h"

namespace lumivale {

namespace {

std::optional<double> asSeconds(std::string_view value) {
  if (value.empty() || value.find_first_not_of("0123456789") != std::string_view::npos) {
    return std::nullopt;
  }
  auto seconds = CheckedNumber::parse<long>(value);
  if (!seconds) return std::nullopt;
  return static_cast<double>(*seconds);
}

std::optional<double> asHttpDate(std::string_view value, double now) {
  std::istringstream input{std::string(value)};
  input.imbue(std::locale::classic());
  std::tm fields{};
  input >> std::get_time(&fields, "%a, %d %b %Y %H:%M:%S");
  std::string zone;
  input >> zone;
  if (input.fail() || !input.eof() || (zone != "GMT" && zone != "UTC")) return std::nullopt;
  double at = static_cast<double>(timegm(&fields));
  return std::max(0.0, at - now);
}

}  // namespace

std::optional<double> retryAfterSeconds(std::string_view value, double now) {
  while (!value.empty() && value.front() == ' ')
    value.remove_prefix(1);
  while (!value.empty() && value.back() == ' ')
    value.remove_suffix(1);
  if (auto seconds = asSeconds(value)) return seconds;
  return asHttpDate(value, now);
}

}  // namespace lumivale
