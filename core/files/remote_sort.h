#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/files/keyed_entries.h"
#include "core/files/remote_entry.h"

namespace lumivale {

// The orders of the Files pane.
namespace RemoteSort {

enum class Key { name, kind, size, modified };
std::string_view rawValue(Key key);
std::optional<Key> key(std::string_view rawValue);

// The name order of a file manager in the user's locale (NameCollator): accents and
// case count after the letters, runs of digits by their value. Negative, zero or
// positive like strcmp; zero only for identical names.
int compareNames(std::string_view a, std::string_view b);

using KindName = std::function<std::string(const RemoteEntry&)>;
// The kind as listings show it: "Folder", "Link", "PDF document", "Document".
std::string kindName(const RemoteEntry& entry);

// Entries equal on the chosen key are ordered by name, ascending whatever the direction,
// so a list keeps its reading order when only the direction is flipped.
std::vector<RemoteEntry> sorted(std::vector<RemoteEntry> entries, Key by, bool ascending,
                                const KindName& kindName);
// The same for entries whose names' keys are known already.
std::vector<RemoteEntry> sorted(KeyedEntries keyed, Key by, bool ascending,
                                const KindName& kindName);

}  // namespace RemoteSort

}  // namespace lumivale
