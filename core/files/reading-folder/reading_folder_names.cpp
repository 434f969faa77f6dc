#include <algorithm>
#include <array>

#include "core/files/reading-folder/mac_scan.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale::ReadingFolderNames {

namespace {

constexpr std::array<std::string_view, 3> unfinishedDownloads{".download", ".crdownload", ".part"};
constexpr std::array<std::string_view, 14> packageExtensions{
    ".app", ".bundle", ".framework",     ".plugin",       ".kext",      ".pages",      ".numbers",
    ".key", ".rtfd",   ".photoslibrary", ".musiclibrary", ".xcodeproj", ".playground", ".scptd"};

bool endsWithFolded(std::string_view name, std::string_view suffix) {
  return name.size() > suffix.size() &&
         utf8::asciiLowered(name.substr(name.size() - suffix.size())) == suffix;
}

}  // namespace

std::string tabletName(std::string_view macName) {
  const std::string safe = RemotePath::fatSafeName(macName);
  std::string out;
  for (std::size_t at = 0; at < safe.size();) {
    const auto decoded = utf8::decode(safe, at);
    if (!decoded) {
      out += '_';
      ++at;
      continue;
    }
    if (decoded->scalar < 0x20 || decoded->scalar == 0x7f) {
      out += '_';
    } else {
      out.append(safe, at, decoded->length);
    }
    at += decoded->length;
  }
  return out;
}

bool isIgnored(std::string_view name) {
  // "Icon\r" is how the Mac keeps a folder's custom icon.
  if (name.starts_with('.') || name == "Icon\r") return true;
  return std::ranges::any_of(unfinishedDownloads,
                             [&](std::string_view suffix) { return endsWithFolded(name, suffix); });
}

bool isPackage(std::string_view name) {
  return std::ranges::any_of(packageExtensions,
                             [&](std::string_view suffix) { return endsWithFolded(name, suffix); });
}

}  // namespace lumivale::ReadingFolderNames
