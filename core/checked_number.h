#pragma once

#include <charconv>
#include <chrono>
#include <concepts>
#include <optional>
#include <ratio>
#include <string_view>
#include <utility>

// Numbers read from outside (a tablet's output, a server's answer, a file) can hold anything:
// every read and every unit conversion of such a number is checked, and a value that does not
// fit is absent rather than wrapped, cut or undefined.
namespace lumivale::CheckedNumber {

// The whole of `text` as a number of type T: absent when empty, when anything follows the
// digits, or when the value does not fit T. A sign is accepted only for signed types.
template <std::integral T>
std::optional<T> parse(std::string_view text, int base = 10) {
  T value{};
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The decimal digits at the start of `text` as T; absent when there are none or they do not fit.
template <std::integral T>
std::optional<T> leadingDigits(std::string_view text) {
  return parse<T>(text.substr(0, text.find_first_not_of("0123456789")));
}

template <std::integral T, std::integral U>
std::optional<T> narrowed(U value) {
  if (!std::in_range<T>(value)) return std::nullopt;
  return static_cast<T>(value);
}

template <std::integral T>
std::optional<T> product(T a, T b) {
  T result{};
  if (__builtin_mul_overflow(a, b, &result)) return std::nullopt;
  return result;
}

template <std::integral T>
std::optional<T> sum(T a, T b) {
  T result{};
  if (__builtin_add_overflow(a, b, &result)) return std::nullopt;
  return result;
}

// `from` in the units of `To`, truncated toward zero as duration_cast does; absent when it
// does not fit (seconds of a far year do not fit in nanoseconds).
template <typename To, typename Rep, typename Period>
std::optional<To> duration(std::chrono::duration<Rep, Period> from) {
  using Ratio = std::ratio_divide<Period, typename To::period>;
  using ToRep = typename To::rep;
  auto count = narrowed<ToRep>(from.count());
  if (!count) return std::nullopt;
  if constexpr (Ratio::den == 1) {
    auto ticks = product<ToRep>(*count, static_cast<ToRep>(Ratio::num));
    if (!ticks) return std::nullopt;
    return To(*ticks);
  } else {
    static_assert(Ratio::num == 1, "only whole multiples or whole fractions of a unit");
    return To(*count / static_cast<ToRep>(Ratio::den));
  }
}

// A moment read from outside as a time of the system clock; absent outside the clock's range.
inline std::optional<std::chrono::system_clock::time_point> clockTime(
    std::chrono::sys_seconds at, std::chrono::nanoseconds fraction = {}) {
  using Ticks = std::chrono::system_clock::duration;
  auto whole = duration<Ticks>(at.time_since_epoch());
  auto part = duration<Ticks>(fraction);
  if (!whole || !part) return std::nullopt;
  auto ticks = sum(whole->count(), part->count());
  if (!ticks) return std::nullopt;
  return std::chrono::system_clock::time_point(Ticks(*ticks));
}

}  // namespace lumivale::CheckedNumber
