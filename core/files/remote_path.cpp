#include "core/files/remote_path.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "core/files/utf8.h"

namespace lumivale::RemotePath {

namespace {

// Leading bytes of the staging names; a user may not type one of these.
constexpr std::string_view stagingStart = ".lumivale-";

// How much of an over-long path a message keeps (its end, where the long name is).
constexpr std::size_t messageTailBytes = 60;

bool isControl(unsigned char c) {
  return c < 0x20 || c == 0x7F;
}

// The first control-character problem of `text`, worded for a path or a name.
std::optional<std::string> controlProblem(std::string_view text, std::string_view what) {
  // One pass for the common case, where there is none.
  if (std::none_of(text.begin(), text.end(), [](char c) { return isControl(c); }))
    return std::nullopt;
  if (text.find('\0') != std::string_view::npos)
    return fmt::format("a {} with a NUL character", what);
  if (text.find_first_of("\n\r") != std::string_view::npos)
    return fmt::format("a {} with a line break", what);
  return fmt::format("a {} with a control character", what);
}

// A table, not a search of fatForbidden for every byte of every name of a listing.
constexpr auto fatForbiddenBytes = [] {
  std::array<bool, 256> table{};
  for (char c : fatForbidden)
    table[static_cast<unsigned char>(c)] = true;
  return table;
}();

bool isFatForbidden(char c) {
  return fatForbiddenBytes[static_cast<unsigned char>(c)];
}

// The non-empty parts of a path between its slashes, one at a time.
class Components {
 public:
  explicit Components(std::string_view path) : rest_(path) {}

  std::optional<std::string_view> next() {
    while (!rest_.empty() && rest_.front() == '/')
      rest_.remove_prefix(1);
    if (rest_.empty()) return std::nullopt;
    // A byte loop: the parts are short, and a listing splits a path for every entry.
    const auto end = std::find(rest_.begin(), rest_.end(), '/');
    const std::string_view part(rest_.begin(), end);
    rest_.remove_prefix(part.size());
    return part;
  }

 private:
  std::string_view rest_;
};

// Whether the normal form of `path` is `top` or lies under it.
bool startsWithComponents(std::string_view path, std::string_view top) {
  Components mine(path);
  Components wanted(top);
  while (auto part = wanted.next()) {
    if (mine.next() != part) return false;
  }
  return true;
}

bool isUnder(std::string_view path, std::string_view top) {
  return path == top ||
         (path.size() > top.size() && path.starts_with(top) && path[top.size()] == '/');
}

}  // namespace

std::string forbiddenList() {
  std::string list;
  for (char c : fatForbidden) {
    if (!list.empty()) list += ' ';
    list += c;
  }
  return list;
}

std::string resolve(std::string_view path) {
  if (path.empty()) return std::string(root);
  if (path.front() == '/') return validate(path);
  return validate(std::string(root) + "/" + std::string(path));
}

namespace {

// What makes `path` no tablet path, checked in the order the messages promise; built only
// when there is something: every entry of a long listing passes through here.
std::optional<std::string> pathProblem(std::string_view path) {
  if (path.empty()) return "an empty path";
  if (auto problem = controlProblem(path, "path")) return problem;
  if (path.size() > maxPathBytes) return "a path longer than 4096 bytes";
  const auto shown = [&] { return escapedForDisplay(path); };
  if (path.front() != '/')
    return fmt::format("'{}': not an absolute path (it must start with /sdcard)", shown());
  // One pass, though a '.' or '..' anywhere is named before a long name anywhere.
  std::optional<std::string_view> longName;
  for (Components parts(path); auto part = parts.next();) {
    if (*part == "." || *part == "..")
      return fmt::format("'{}': '.' and '..' are not allowed", shown());
    if (!longName && part->size() > maxNameBytes) longName = part;
  }
  if (longName) {
    auto upToName =
        path.substr(0, static_cast<std::size_t>(longName->data() - path.data()) + longName->size());
    return fmt::format("'…{}': a name longer than 255 bytes",
                       escapedForDisplay(utf8::tail(upToName, messageTailBytes)));
  }
  if (std::none_of(roots.begin(), roots.end(),
                   [&](auto top) { return startsWithComponents(path, top); }))
    return fmt::format("'{}': it is outside the tablet\u2019s shared storage (/sdcard)", shown());
  return std::nullopt;
}

std::optional<std::string> nameProblem(std::string_view name) {
  if (name.empty()) return "an empty name";
  if (auto problem = controlProblem(name, "name")) return problem;
  if (name.size() > maxNameBytes) return "a name longer than 255 bytes";
  const auto shown = [&] { return escapedForDisplay(name); };
  if (name == "." || name == "..") return fmt::format("'{}' is not a name", shown());
  if (name.find('/') != std::string_view::npos)
    return fmt::format("'{}': a name cannot contain '/'", shown());
  if (auto at = std::find_if(name.begin(), name.end(), isFatForbidden); at != name.end())
    return fmt::format("'{}': the tablet does not allow {} in a name (nor any of {})", shown(), *at,
                       forbiddenList());
  return std::nullopt;
}

}  // namespace

std::string validate(std::string_view path) {
  if (auto problem = pathProblem(path)) throw RemotePathError(std::move(*problem));
  std::string normalised;
  normalised.reserve(path.size());
  for (Components parts(path); auto part = parts.next();) {
    normalised += '/';
    normalised += *part;
  }
  return normalised;
}

bool isValidAndNormal(std::string_view path) {
  const auto twoSlashes = [](char a, char b) { return a == '/' && b == '/'; };
  return !path.ends_with('/') &&
         std::adjacent_find(path.begin(), path.end(), twoSlashes) == path.end() &&
         !pathProblem(path);
}

std::string validateName(std::string_view name) {
  if (auto problem = nameProblem(name)) throw RemotePathError(std::move(*problem));
  return std::string(name);
}

std::string validateNewName(std::string_view name) {
  validateName(name);
  if (name.starts_with(stagingStart))
    throw RemotePathError(
        fmt::format("'{}': names beginning with {} are kept for Lumivale's copies",
                    escapedForDisplay(name), stagingStart));
  return std::string(name);
}

bool isValidName(std::string_view name) {
  return !nameProblem(name);
}

std::string name(std::string_view path) {
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  auto slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::optional<std::string> parent(std::string_view path) {
  if (isRoot(path)) return std::nullopt;
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  auto slash = path.rfind('/');
  if (slash == std::string_view::npos || path == "/") return std::nullopt;
  return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

std::string join(std::string_view folder, std::string_view name) {
  validateName(name);
  return validate(std::string(folder) + "/" + std::string(name));
}

bool isRoot(std::string_view path) {
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  return std::find(roots.begin(), roots.end(), path) != roots.end();
}

bool isInsideStorage(std::string_view, std::string_view canonical) {
  return isUnder(canonical, canonicalRoot);
}

std::string fatSafeName(std::string_view name) {
  std::string safe(name);
  for (char& c : safe) {
    if (isFatForbidden(c)) c = '_';
  }
  return safe;
}

std::string macSafeName(std::string_view name) {
  // The Mac wants valid UTF-8; ':' is how Finder shows '/', so neither may stay.
  std::string safe;
  for (std::size_t at = 0; at < name.size();) {
    auto decoded = utf8::decode(name, at);
    if (!decoded) {
      safe += '_';
      ++at;
      continue;
    }
    const char32_t c = decoded->scalar;
    if (c == '/' || c == ':' || c < 0x20 || c == 0x7F)
      safe += '_';
    else
      safe.append(name.substr(at, decoded->length));
    at += decoded->length;
  }
  if (safe.empty() || safe == "." || safe == "..") safe = "_" + safe;
  return std::string(utf8::head(safe, maxNameBytes));
}

std::string uniqueName(std::string_view name, const std::set<std::string>& existing,
                       bool isDirectory, bool caseInsensitive) {
  std::set<std::string> taken;
  for (const auto& each : existing)
    taken.insert(caseInsensitive ? utf8::asciiLowered(each) : each);
  auto isTaken = [&](const std::string& candidate) {
    return taken.count(caseInsensitive ? utf8::asciiLowered(candidate) : candidate) > 0;
  };
  if (!isTaken(std::string(name))) return std::string(name);
  std::string_view stem = name;
  std::string_view extension;
  if (!isDirectory) {
    auto dot = name.rfind('.');
    if (dot != std::string_view::npos && dot > 0) {
      stem = name.substr(0, dot);
      extension = name.substr(dot);
    }
  }
  for (int counter = 2;; ++counter) {
    std::string candidate = fmt::format("{} {}{}", stem, counter, extension);
    if (!isTaken(candidate)) return candidate;
  }
}

bool isDisplayUnsafe(char32_t c) {
  if (c < 0x20 || (c >= 0x7F && c <= 0x9F)) return true;
  // Format characters: soft hyphen, bidirectional and zero-width marks, word joiners,
  // the byte-order mark and the tag characters.
  return c == 0xAD || c == 0x061C || c == 0x180E || (c >= 0x200B && c <= 0x200F) ||
         (c >= 0x202A && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF ||
         (c >= 0xFFF9 && c <= 0xFFFB) || (c >= 0xE0000 && c <= 0xE007F);
}

void appendForDisplay(std::string& out, std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    // Printable ASCII, most of every name, is taken a run at a time.
    std::size_t plain = at;
    while (plain < text.size() && text[plain] >= 0x20 && text[plain] < 0x7F)
      ++plain;
    out.append(text.substr(at, plain - at));
    at = plain;
    if (at == text.size()) break;
    auto decoded = utf8::decode(text, at);
    if (!decoded) {
      fmt::format_to(std::back_inserter(out), "\\x{:02X}", static_cast<unsigned char>(text[at]));
      ++at;
      continue;
    }
    if (isDisplayUnsafe(decoded->scalar))
      fmt::format_to(std::back_inserter(out), "\\u{{{:04X}}}",
                     static_cast<std::uint32_t>(decoded->scalar));
    else
      out.append(text.substr(at, decoded->length));
    at += decoded->length;
  }
}

std::string escapedForDisplay(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  appendForDisplay(shown, text);
  return shown;
}

std::vector<Crumb> crumbs(std::string_view path, std::string_view tabletName) {
  const std::string valid = validate(path);
  std::string top(root);
  for (auto each : roots) {
    if (isUnder(valid, each)) top = each;
  }
  std::vector<Crumb> trail{{std::string(tabletName), top}};
  std::string current = top;
  for (Components parts(std::string_view(valid).substr(top.size())); auto part = parts.next();) {
    current += '/';
    current += *part;
    trail.push_back({std::string(*part), current});
  }
  return trail;
}

}  // namespace lumivale::RemotePath
