#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/files/name_collator.h"
#include "core/files/remote_entry.h"
#include "core/files/sort_keys.h"
#include "core/in_two_halves.h"

namespace lumivale {

// Entries with the collation key of each name (NameCollator::sortKey under the user's
// collation), so that sorting them collates nothing more. A listing works the keys out
// while it arrives.
struct KeyedEntries {
  std::vector<RemoteEntry> entries;
  SortKeys nameKeys;  // one per entry, or none yet

  // Works the keys out when they are not there yet.
  void addNameKeys();
  // Drops the entries for which `drop` holds, with their keys.
  template <typename Drop>
  void eraseIf(Drop drop);
};

// The collation key of `text(entry)` for every entry, each thread with its own collator:
// collation is most of what sorting a long listing costs.
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

template <typename Drop>
void KeyedEntries::eraseIf(Drop drop) {
  std::size_t kept = 0;
  // Moves each kept entry to its place as it goes, so that its key is kept alongside.
  auto keep = [&](std::size_t i) {
    if (drop(entries[i])) return false;
    if (kept != i) entries[kept] = std::move(entries[i]);
    ++kept;
    return true;
  };
  if (nameKeys.empty()) {
    for (std::size_t i = 0; i < entries.size(); ++i)
      keep(i);
  } else {
    nameKeys.keepIf(keep);
  }
  entries.resize(kept);
}

}  // namespace lumivale
