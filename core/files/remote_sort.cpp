#include "core/files/remote_sort.h"

#include <algorithm>
#include <array>

namespace lumivale::RemoteSort {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

char folded(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

int sign(auto difference) {
  return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
}

// Compares the digit runs starting at a[i] and b[j] by value and moves past them.
int compareNumbers(std::string_view a, std::size_t& i, std::string_view b, std::size_t& j) {
  auto run = [](std::string_view text, std::size_t& at) {
    while (at < text.size() && text[at] == '0' && at + 1 < text.size() && isDigit(text[at + 1]))
      ++at;
    auto start = at;
    while (at < text.size() && isDigit(text[at]))
      ++at;
    return text.substr(start, at - start);
  };
  auto x = run(a, i), y = run(b, j);
  if (x.size() != y.size()) return sign(static_cast<long>(x.size()) - static_cast<long>(y.size()));
  return sign(x.compare(y));
}

}  // namespace

std::string_view rawValue(Key value) {
  static constexpr std::array<std::string_view, 4> names{"name", "kind", "size", "modified"};
  return names[static_cast<std::size_t>(value)];
}

std::optional<Key> key(std::string_view raw) {
  for (auto each : {Key::name, Key::kind, Key::size, Key::modified}) {
    if (rawValue(each) == raw) return each;
  }
  return std::nullopt;
}

int compareNames(std::string_view a, std::string_view b) {
  std::size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (isDigit(a[i]) && isDigit(b[j])) {
      if (int order = compareNumbers(a, i, b, j)) return order;
      continue;
    }
    const auto x = static_cast<unsigned char>(folded(a[i]));
    const auto y = static_cast<unsigned char>(folded(b[j]));
    if (x != y) return sign(static_cast<int>(x) - static_cast<int>(y));
    ++i, ++j;
  }
  if (i < a.size() || j < b.size()) return i < a.size() ? 1 : -1;
  // Equal to the eye ("a" and "A", "1" and "01"): the bytes decide, so the order is total.
  return sign(a.compare(b));
}

std::vector<RemoteEntry> sorted(std::vector<RemoteEntry> entries, Key by, bool ascending,
                                const KindName& kindName) {
  auto keyOrder = [&](const RemoteEntry& a, const RemoteEntry& b) -> int {
    switch (by) {
      case Key::name:
        return 0;
      case Key::kind:
        return compareNames(kindName(a), kindName(b));
      case Key::size:
        return sign(a.size - b.size);
      case Key::modified: {
        auto at = [](const RemoteEntry& e) { return e.modified.value_or(Timestamp::min()); };
        return at(a) < at(b) ? -1 : (at(b) < at(a) ? 1 : 0);
      }
    }
    return 0;
  };
  std::stable_sort(entries.begin(), entries.end(), [&](const RemoteEntry& a, const RemoteEntry& b) {
    if (int order = keyOrder(a, b)) return ascending ? order < 0 : order > 0;
    int names = compareNames(a.name, b.name);
    return by == Key::name && !ascending ? names > 0 : names < 0;
  });
  return entries;
}

}  // namespace lumivale::RemoteSort
