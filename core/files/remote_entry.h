#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace lumivale {

using Timestamp = std::chrono::system_clock::time_point;

// One item of a tablet folder as the tablet's shell described it.
struct RemoteEntry {
  enum class Kind { directory, file, symlink, other };

  std::string name{};
  std::string path{};
  Kind kind = Kind::other;
  std::int64_t size = 0;
  std::optional<Timestamp> modified{};
  bool targetIsDirectory = false;
  // The name was read from the tablet's bytes without loss; otherwise it can be
  // shown but not acted on.
  bool exact = true;

  bool operator==(const RemoteEntry&) const = default;

  bool isFolder() const;
  bool isOperable() const;
};

std::string_view rawValue(RemoteEntry::Kind kind);

// Keys "name", "path", "kind", "size", "modified" (seconds since 1970, or null), "exact".
void to_json(nlohmann::json& json, const RemoteEntry& entry);
// The same object as one line of text, keys in name order as a dump of to_json's gives
// them: a long listing is printed this way, without a tree built for each entry.
void appendJson(std::string& out, const RemoteEntry& entry);

}  // namespace lumivale

template <>
struct std::hash<lumivale::RemoteEntry> {
  std::size_t operator()(const lumivale::RemoteEntry& entry) const noexcept;
};
