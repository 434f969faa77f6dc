#include "core/files/keyed_entries.h"

namespace lumivale {

void KeyedEntries::addNameKeys() {
  if (nameKeys.size() == entries.size()) return;
  nameKeys = {};
  for (const auto& key : collationKeys(
           entries, [](const RemoteEntry& entry) -> const std::string& { return entry.name; }))
    nameKeys.add(key);
}

}  // namespace lumivale
