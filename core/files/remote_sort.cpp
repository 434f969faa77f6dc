#include "core/files/remote_sort.h"

#include "core/files/name_collator.h"

#include <algorithm>
#include <array>

namespace lumivale::RemoteSort {

namespace {

int sign(auto difference) {
  return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
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
  // Each name is collated once, into a key that then compares as plain bytes.
  struct Sorting {
    RemoteEntry entry;
    std::string nameKey;
    std::string kindKey;
  };
  const NameCollator collator = NameCollator::forUser();
  std::vector<Sorting> sorting;
  sorting.reserve(entries.size());
  for (auto& entry : entries) {
    std::string nameKey = collator.sortKey(entry.name);
    std::string kindKey = by == Key::kind ? collator.sortKey(kindName(entry)) : "";
    sorting.push_back({std::move(entry), std::move(nameKey), std::move(kindKey)});
  }
  auto keyOrder = [&](const Sorting& a, const Sorting& b) -> int {
    switch (by) {
      case Key::name:
        return 0;
      case Key::kind:
        return sign(a.kindKey.compare(b.kindKey));
      case Key::size:
        return sign(a.entry.size - b.entry.size);
      case Key::modified: {
        auto at = [](const Sorting& e) { return e.entry.modified.value_or(Timestamp::min()); };
        return at(a) < at(b) ? -1 : (at(b) < at(a) ? 1 : 0);
      }
    }
    return 0;
  };
  std::stable_sort(sorting.begin(), sorting.end(), [&](const Sorting& a, const Sorting& b) {
    if (int order = keyOrder(a, b)) return ascending ? order < 0 : order > 0;
    int names = a.nameKey.compare(b.nameKey);
    return by == Key::name && !ascending ? names > 0 : names < 0;
  });
  entries.clear();
  for (auto& each : sorting)
    entries.push_back(std::move(each.entry));
  return entries;
}

}  // namespace lumivale::RemoteSort
