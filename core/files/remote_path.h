#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/files/files_error.h"

namespace lumivale {

// Pure rules for paths on the tablet's shared storage. Every tablet path passes
// `validate` before it reaches the tablet's shell.
namespace RemotePath {

inline constexpr std::string_view root = "/sdcard";
inline constexpr std::string_view canonicalRoot = "/storage/emulated/0";
inline constexpr std::array<std::string_view, 2> roots{root, canonicalRoot};

inline constexpr std::size_t maxNameBytes = 255;
inline constexpr std::size_t maxPathBytes = 4096;

// Characters the tablet's storage does not accept in names.
inline constexpr std::string_view fatForbidden = "\"*:<>?\\|";

struct Shortcut {
  std::string_view name;
  std::string_view symbol;
};
inline constexpr std::array<Shortcut, 6> shortcuts{{{"Download", "arrow.down.circle"},
                                                    {"Documents", "doc"},
                                                    {"Pictures", "photo"},
                                                    {"DCIM", "camera"},
                                                    {"Movies", "film"},
                                                    {"Music", "music.note"}}};

// The forbidden characters separated by single spaces, as messages list them.
std::string forbiddenList();

std::string resolve(std::string_view path);
std::string validate(std::string_view path);
// Whether `validate` would take `path` and give it back unchanged.
bool isValidAndNormal(std::string_view path);

std::string validateName(std::string_view name);
// A name the user typed: also refuses the names kept for staged copies.
std::string validateNewName(std::string_view name);
bool isValidName(std::string_view name);

std::string name(std::string_view path);
std::optional<std::string> parent(std::string_view path);
std::string join(std::string_view folder, std::string_view name);
bool isRoot(std::string_view path);
bool isInsideStorage(std::string_view path, std::string_view canonical);

std::string fatSafeName(std::string_view name);
std::string macSafeName(std::string_view name);
std::string uniqueName(std::string_view name, const std::set<std::string>& existing,
                       bool isDirectory, bool caseInsensitive);

// Control and format characters that could disguise a name in a message.
bool isDisplayUnsafe(char32_t scalar);
std::string escapedForDisplay(std::string_view text);
// The same, added to the end of `out`.
void appendForDisplay(std::string& out, std::string_view text);

struct Crumb {
  std::string title;
  std::string path;
  bool operator==(const Crumb&) const = default;
};
std::vector<Crumb> crumbs(std::string_view path, std::string_view tabletName);

}  // namespace RemotePath

}  // namespace lumivale
