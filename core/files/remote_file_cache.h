#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/files/cache_leases.h"
#include "core/files/remote_entry.h"

namespace lumivale {

// Local copies of tablet files for previews, one folder per key. A changed file (path,
// kind, size or date) gets a new key, so a copy is current exactly when its key exists.
struct RemoteFileCache {
  static constexpr std::uint64_t thumbnailMaxBytes = 25 * 1024 * 1024;
  static constexpr std::chrono::seconds inUseWindow{600};
  static constexpr std::uint64_t defaultMaxBytes = 1024ull * 1024 * 1024;

  std::filesystem::path root;
  std::shared_ptr<CacheLeases> leases = CacheLeases::shared();

  // In the user's caches folder (XDG_CACHE_HOME, else ~/.cache) under "{bundle identifier}/Files".
  static RemoteFileCache standard();

  // Copies a tablet file to the given local location; throws when it cannot.
  using Pull = std::function<void(const std::filesystem::path& destination)>;

  static std::string key(const std::string& serial, const RemoteEntry& entry);
  static std::string localName(const RemoteEntry& entry);
  static bool wantsThumbnail(const RemoteEntry& entry);

  std::filesystem::path url(const std::string& serial, const RemoteEntry& entry) const;
  std::optional<std::filesystem::path> cached(const std::string& serial,
                                              const RemoteEntry& entry) const;
  std::filesystem::path fetch(const std::string& serial, const RemoteEntry& entry,
                              const Pull& pull) const;
  // Removes whole key folders, least recently used first, until at most `maxBytes`
  // remain; never one used within `keepRecent` of `now` or one with a lease. Returns
  // how many went.
  int prune(std::uint64_t maxBytes, std::chrono::seconds keepRecent,
            std::filesystem::file_time_type now) const;

 private:
  std::filesystem::path keyFolder(const std::string& key) const;
  void checkRoot() const;
};

}  // namespace lumivale
