#include "core/files/remote_sort.h"

#include "core/files/name_collator.h"
#include "core/in_two_halves.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace lumivale::RemoteSort {

namespace {

int sign(auto difference) {
  return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
}

// Collation keys of `text` of every entry, each thread with its own collator: collation
// is most of what sorting a long listing costs.
template <typename Text>
std::vector<std::string> collationKeys(const std::vector<RemoteEntry>& entries, Text text) {
  std::vector<std::string> keys(entries.size());
  inTwoHalves(entries.size(), [&](std::size_t from, std::size_t to) {
    const NameCollator collator = NameCollator::forUser();
    for (std::size_t i = from; i < to; ++i)
      keys[i] = collator.sortKey(text(entries[i]));
  });
  return keys;
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
  thread_local const NameCollator collator = NameCollator::forUser();
  return collator.compare(a, b);
}

std::vector<RemoteEntry> sorted(std::vector<RemoteEntry> entries, Key by, bool ascending,
                                const KindName& kindName) {
  // Each name is collated once, into a key that then compares as plain bytes; the entries
  // themselves move only once, into their places.
  const auto nameKeys = collationKeys(
      entries, [](const RemoteEntry& entry) -> const std::string& { return entry.name; });
  std::vector<std::string> kindKeys;
  if (by == Key::kind) kindKeys = collationKeys(entries, kindName);
  auto keyOrder = [&](std::size_t a, std::size_t b) -> int {
    switch (by) {
      case Key::name:
        return 0;
      case Key::kind:
        return sign(kindKeys[a].compare(kindKeys[b]));
      case Key::size:
        return sign(entries[a].size - entries[b].size);
      case Key::modified: {
        auto at = [&](std::size_t i) { return entries[i].modified.value_or(Timestamp::min()); };
        return at(a) < at(b) ? -1 : (at(b) < at(a) ? 1 : 0);
      }
    }
    return 0;
  };
  std::vector<std::size_t> order(entries.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    if (int byKey = keyOrder(a, b)) return ascending ? byKey < 0 : byKey > 0;
    int names = nameKeys[a].compare(nameKeys[b]);
    return by == Key::name && !ascending ? names > 0 : names < 0;
  });
  std::vector<RemoteEntry> result;
  result.reserve(entries.size());
  for (std::size_t i : order)
    result.push_back(std::move(entries[i]));
  return result;
}

std::string kindName(const RemoteEntry& entry) {
  if (entry.isFolder()) return "Folder";
  if (entry.kind == RemoteEntry::Kind::symlink) return "Link";
  auto dot = entry.name.rfind('.');
  if (dot == std::string::npos || dot == 0) return "Document";
  std::string extension = entry.name.substr(dot + 1);
  for (char& c : extension)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return extension + " document";
}

}  // namespace lumivale::RemoteSort
