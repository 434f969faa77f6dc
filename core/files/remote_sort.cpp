#include "core/files/remote_sort.h"

#include "core/files/name_collator.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace lumivale::RemoteSort {

namespace {

int sign(auto difference) {
  return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
}

struct Ranked {
  std::uint64_t head;
  std::size_t index;
};

// `ranked` in the order of their heads, equal heads in the order they came: a byte at a time
// from the lowest, without the comparisons a long listing would pay for in mispredictions.
void sortByHead(std::vector<Ranked>& ranked) {
  std::vector<Ranked> sorted(ranked.size());
  for (int shift = 0; shift < 64; shift += 8) {
    std::array<std::size_t, 256> counts{};
    for (const auto& each : ranked)
      ++counts[each.head >> shift & 0xff];
    // A byte that all share orders nothing.
    if (std::find(counts.begin(), counts.end(), ranked.size()) != counts.end()) continue;
    std::size_t next = 0;
    for (auto& count : counts)
      next += std::exchange(count, next);
    for (const auto& each : ranked)
      sorted[counts[each.head >> shift & 0xff]++] = each;
    ranked.swap(sorted);
  }
}

// The indices of `keys` in their byte order (or its reverse), equal keys in their own order.
std::vector<std::size_t> nameOrder(const SortKeys& keys, bool ascending) {
  // The keys of one folder's names mostly share their start ("document 1", "document 2"): the
  // eight bytes after what all share, as one number, settle most of the order on their own.
  const std::string_view first = keys.empty() ? std::string_view() : keys[0];
  std::size_t shared = first.size();
  for (std::size_t i = 1; i < keys.size(); ++i) {
    const std::string_view key = keys[i];
    std::size_t same = 0;
    while (same < shared && same < key.size() && key[same] == first[same])
      ++same;
    shared = same;
  }
  std::vector<Ranked> ranked(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string_view key = keys[i];
    std::uint64_t head = 0;
    for (std::size_t at = shared; at < shared + 8; ++at)
      head = head << 8 | (at < key.size() ? static_cast<unsigned char>(key[at]) : 0u);
    // Descending is ascending on the complement, equal heads still in their own order.
    ranked[i] = {ascending ? head : ~head, i};
  }
  sortByHead(ranked);
  // Keys alike to the end of their heads are ordered by the rest.
  for (auto run = ranked.begin(); run != ranked.end();) {
    const auto end =
        std::find_if(run, ranked.end(), [&](const Ranked& each) { return each.head != run->head; });
    if (end - run > 1)
      std::stable_sort(run, end, [&](const Ranked& a, const Ranked& b) {
        const int order = keys[a.index].compare(keys[b.index]);
        return ascending ? order < 0 : order > 0;
      });
    run = end;
  }
  std::vector<std::size_t> order(keys.size());
  for (std::size_t i = 0; i < ranked.size(); ++i)
    order[i] = ranked[i].index;
  return order;
}

// Puts entry order[i] at place i, following each cycle of the order: every entry moves
// once (the first of a cycle twice), within the vector it is in.
void putInOrder(std::vector<RemoteEntry>& entries, std::vector<std::size_t> order) {
  for (std::size_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) continue;
    RemoteEntry first = std::move(entries[start]);
    std::size_t place = start;
    while (order[place] != start) {
      const std::size_t from = order[place];
      entries[place] = std::move(entries[from]);
      order[place] = place;
      place = from;
    }
    entries[place] = std::move(first);
    order[place] = place;
  }
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
  return sorted(KeyedEntries{std::move(entries), {}}, by, ascending, kindName);
}

std::vector<RemoteEntry> sorted(KeyedEntries keyed, Key by, bool ascending,
                                const KindName& kindName) {
  // Each name is collated once, into a key that then compares as plain bytes; the entries
  // themselves move only once, into their places in the same vector.
  keyed.addNameKeys();
  auto& entries = keyed.entries;
  // The other orders keep the name order among their equals, ascending whatever the direction.
  std::vector<std::size_t> order = nameOrder(keyed.nameKeys, by != Key::name || ascending);
  if (by == Key::name) {
    putInOrder(entries, std::move(order));
    return std::move(entries);
  }
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
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const int byKey = keyOrder(a, b);
    return ascending ? byKey < 0 : byKey > 0;
  });
  putInOrder(entries, std::move(order));
  return std::move(entries);
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
