#include "core/files/remote_entry.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <nlohmann/json.hpp>

#include "core/files/remote_path.h"

namespace lumivale {

bool RemoteEntry::isFolder() const {
  return kind == Kind::directory || (kind == Kind::symlink && targetIsDirectory);
}

bool RemoteEntry::isOperable() const {
  if (!exact || !RemotePath::isValidName(name)) return false;
  // The path is its folder, a slash and the name, exactly, when it ends that way and
  // is already in its normal form (a long listing asks this of every entry).
  const std::string_view whole = path;
  if (whole.size() <= name.size() || !whole.ends_with(name) ||
      whole[whole.size() - name.size() - 1] != '/')
    return false;
  return RemotePath::isValidAndNormal(path);
}

std::string_view rawValue(RemoteEntry::Kind kind) {
  switch (kind) {
    case RemoteEntry::Kind::directory:
      return "directory";
    case RemoteEntry::Kind::file:
      return "file";
    case RemoteEntry::Kind::symlink:
      return "symlink";
    case RemoteEntry::Kind::other:
      return "other";
  }
  return "other";
}

void to_json(nlohmann::json& json, const RemoteEntry& entry) {
  std::string text;
  appendJson(text, entry);
  json = nlohmann::json::parse(text);
}

namespace {

// `text` as a JSON string, as the JSON library writes it. Most names are printable
// ASCII that needs no escaping, and a long listing is quoted twice an entry.
void appendQuoted(std::string& out, const std::string& text) {
  const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
    return c >= 0x20 && c < 0x7f && c != '"' && c != '\\';
  });
  if (plain) {
    out += '"';
    out += text;
    out += '"';
  } else {
    out += nlohmann::json(text).dump();
  }
}

// A number as a dump writes it (the library's own shortest form), without a value and an
// output stream made for each of a long listing's dates.
void appendNumber(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  std::array<char, 64> digits;
  out.append(digits.data(),
             nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), value));
}

}  // namespace

void appendJson(std::string& out, const RemoteEntry& entry) {
  // Names from the tablet need not be UTF-8; JSON must be.
  const auto quoted = [&](const std::string& value) {
    if (entry.exact)
      appendQuoted(out, value);
    else
      appendQuoted(out, RemotePath::escapedForDisplay(value));
  };
  out += R"({"exact":)";
  out += entry.exact ? "true" : "false";
  out += R"(,"kind":")";
  out += rawValue(entry.kind);
  out += R"(","modified":)";
  if (entry.modified)
    appendNumber(out, std::chrono::duration<double>(entry.modified->time_since_epoch()).count());
  else
    out += "null";
  out += R"(,"name":)";
  quoted(entry.name);
  out += R"(,"path":)";
  quoted(entry.path);
  out += R"(,"size":)";
  out += std::to_string(entry.size);
  out += '}';
}

}  // namespace lumivale

std::size_t std::hash<lumivale::RemoteEntry>::operator()(
    const lumivale::RemoteEntry& entry) const noexcept {
  std::size_t seed = std::hash<std::string>{}(entry.path);
  auto mix = [&](std::size_t value) { seed ^= value + 0x9e3779b9 + (seed << 6) + (seed >> 2); };
  mix(static_cast<std::size_t>(entry.kind));
  mix(std::hash<std::int64_t>{}(entry.size));
  if (entry.modified) mix(std::hash<std::int64_t>{}(entry.modified->time_since_epoch().count()));
  return seed;
}
