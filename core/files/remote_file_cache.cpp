#include "core/files/remote_file_cache.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

#include "core/bundle_identifier.h"
#include "core/crypto_library.h"
#include "core/files/files_error.h"
#include "core/files/local_items.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view partialSuffix = ".partial";
// Longer "extensions" are names with a dot in them, not kinds of file.
constexpr std::size_t maxExtensionBytes = 16;

std::string extensionOf(const std::string& name) {
  auto dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0 || name.size() - dot - 1 > maxExtensionBytes) return "";
  std::string extension = name.substr(dot + 1);
  const bool plain =
      !extension.empty() && std::all_of(extension.begin(), extension.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
      });
  return plain ? utf8::asciiLowered(extension) : "";
}

bool isKey(std::string_view key) {
  return key.size() == 64 && key.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Whether `path` lies below `folder`, judged on the names alone.
bool isBelow(const fs::path& path, const fs::path& folder) {
  auto relative = path.lexically_normal().lexically_relative(folder.lexically_normal());
  return !relative.empty() && *relative.begin() != ".." && relative != ".";
}

}  // namespace

RemoteFileCache RemoteFileCache::standard() {
  fs::path caches;
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg == '/')
    caches = xdg;
  else if (const char* home = std::getenv("HOME"); home && *home)
    caches = fs::path(home) / ".cache";
  else
    caches = fs::temp_directory_path();
  return RemoteFileCache{caches / bundleIdentifier / "Files"};
}

std::string RemoteFileCache::key(const std::string& serial, const RemoteEntry& entry) {
  const std::int64_t modified =
      entry.modified
          ? std::chrono::duration_cast<std::chrono::nanoseconds>(entry.modified->time_since_epoch())
                .count()
          : -1;
  // NUL never occurs in a serial or a path, so the fields cannot run into each other.
  std::string material = serial;
  material += '\0' + entry.path + '\0' + std::string(rawValue(entry.kind)) + '\0' +
              std::to_string(entry.size) + '\0' + std::to_string(modified);
  return sha256Hex(material);
}

std::string RemoteFileCache::localName(const RemoteEntry& entry) {
  const std::string extension = extensionOf(entry.name);
  return extension.empty() ? "payload" : "payload." + extension;
}

bool RemoteFileCache::wantsThumbnail(const RemoteEntry& entry) {
  static constexpr std::array<std::string_view, 12> previewable{
      "pdf", "png", "jpg", "jpeg", "gif", "heic", "heif", "webp", "bmp", "tif", "tiff", "avif"};
  if (!entry.isOperable() || entry.isFolder() || entry.size < 0 ||
      static_cast<std::uint64_t>(entry.size) > thumbnailMaxBytes)
    return false;
  const std::string extension = extensionOf(entry.name);
  return std::find(previewable.begin(), previewable.end(), extension) != previewable.end();
}

void RemoteFileCache::checkRoot() const {
  std::error_code error;
  if (fs::is_symlink(root, error))
    throw FilesError::refused(
        fmt::format("the preview cache ({}) is a link; remove it and try again", root.string()));
}

fs::path RemoteFileCache::keyFolder(const std::string& key) const {
  if (!isKey(key)) throw FilesError::refused("refusing a cache key that is not one");
  fs::path folder = root / key;
  if (!isBelow(folder, root)) throw FilesError::refused("refusing a cache path outside the cache");
  return folder;
}

fs::path RemoteFileCache::url(const std::string& serial, const RemoteEntry& entry) const {
  return keyFolder(key(serial, entry)) / localName(entry);
}

std::optional<fs::path> RemoteFileCache::cached(const std::string& serial,
                                                const RemoteEntry& entry) const {
  checkRoot();
  const fs::path copy = url(serial, entry);
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(copy, error))) return std::nullopt;
  // The folder's time is when the copy was last used; prune goes by it.
  fs::last_write_time(copy.parent_path(), fs::file_time_type::clock::now(), error);
  return copy;
}

fs::path RemoteFileCache::fetch(const std::string& serial, const RemoteEntry& entry,
                                const Pull& pull) const {
  if (auto copy = cached(serial, entry)) return *copy;
  const std::string cacheKey = key(serial, entry);
  const fs::path folder = keyFolder(cacheKey);
  CacheLeases::Lease lease(leases, cacheKey);
  fs::create_directories(folder);
  fs::permissions(root, fs::perms::owner_all, fs::perm_options::replace);
  const fs::path copy = folder / localName(entry);
  const fs::path scratch = copy.string() + std::string(partialSuffix);
  fs::remove(scratch);
  try {
    pull(scratch);
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
    throw;
  }
  // Something may have swapped the folder for a link to elsewhere while the copy ran.
  if (fs::is_symlink(folder) || !fs::is_directory(folder) || fs::is_symlink(root))
    throw FilesError::refused("the preview cache folder changed under the app; try again");
  fs::rename(scratch, copy);
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(copy, error)))
    throw FilesError::refused(fmt::format("the local copy of {} did not stay in place",
                                          RemotePath::escapedForDisplay(entry.name)));
  return copy;
}

int RemoteFileCache::prune(std::uint64_t maxBytes, std::chrono::seconds keepRecent,
                           fs::file_time_type now) const {
  checkRoot();
  struct KeyFolder {
    fs::path path;
    std::string key;
    fs::file_time_type used;
    std::uint64_t bytes;
  };
  std::vector<KeyFolder> folders;
  std::uint64_t total = 0;
  std::error_code error;
  for (const auto& item : fs::directory_iterator(root, error)) {
    const std::string name = item.path().filename().string();
    if (!isKey(name) || item.is_symlink() || !item.is_directory()) continue;
    const std::uint64_t bytes = LocalItems::localSize(item.path());
    folders.push_back({item.path(), name, fs::last_write_time(item.path(), error), bytes});
    total += bytes;
  }
  std::sort(folders.begin(), folders.end(),
            [](const KeyFolder& a, const KeyFolder& b) { return a.used < b.used; });
  int removed = 0;
  for (const auto& folder : folders) {
    if (total <= maxBytes) break;
    if (now - folder.used < keepRecent || leases->isLeased(folder.key)) continue;
    fs::remove_all(folder.path, error);
    if (error) continue;
    total -= folder.bytes;
    ++removed;
  }
  return removed;
}

}  // namespace lumivale
