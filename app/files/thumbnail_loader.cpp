#include "app/files/thumbnail_loader.h"

#include "app/files/thumbnail_image.h"
#include "core/cancelled.h"
#include "core/files/adb_files.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::app {

bool ThumbnailLoader::Wanted::has(const std::string& key) {
  std::lock_guard lock(mutex);
  return keys.count(key) > 0;
}

ThumbnailLoader::ThumbnailLoader(RemoteFileCache cache, QObject* parent)
    : QObject(parent), cache_(std::move(cache)) {
  batch_ = work_.stop().child();
}

void ThumbnailLoader::stop() {
  batch_.cancel();
  batch_ = work_.stop().child();
  std::lock_guard lock(wanted_->mutex);
  wanted_->keys.clear();
  queued_.clear();
  made_.clear();
}

void ThumbnailLoader::want(std::shared_ptr<AdbBridge> bridge, const std::string& serial,
                           const std::vector<RemoteEntry>& entries) {
  if (!pruned_) {
    pruned_ = true;
    // Kept within bounds once a run, before it adds to it.
    work_.run(
        [cache = cache_](const StopToken&) {
          cache.prune(RemoteFileCache::defaultMaxBytes, RemoteFileCache::inUseWindow,
                      std::filesystem::file_time_type::clock::now());
        },
        [] {}, [](const std::string&) {});
  }
  std::vector<std::pair<std::string, const RemoteEntry*>> fresh;
  {
    std::lock_guard lock(wanted_->mutex);
    wanted_->keys.clear();
    for (const RemoteEntry& entry : entries) {
      if (!RemoteFileCache::wantsThumbnail(entry)) continue;
      std::string key = RemoteFileCache::key(serial, entry);
      if (made_.count(key)) continue;
      wanted_->keys.insert(key);
      if (queued_.insert(key).second) fresh.emplace_back(std::move(key), &entry);
    }
  }
  for (const auto& [key, entry] : fresh) {
    work_.run<std::optional<QImage>>(
        [cache = cache_, bridge, serial, entry = *entry, key = key, batch = batch_,
         wanted = wanted_](const StopToken&) -> std::optional<QImage> {
          batch.throwIfCancelled();
          if (!wanted->has(key)) return std::nullopt;
          CacheLeases::Lease lease(cache.leases, key);
          AdbFiles files = AdbFiles(*bridge, serial).stoppedBy(batch);
          auto copy = cache.fetch(serial, entry, [&](const std::filesystem::path& destination) {
            files.pull(entry.path, destination);
          });
          return ThumbnailImage::of(copy, QSize(side, side));
        },
        [this, key = key, path = entry->path](std::optional<QImage> image) {
          // Given up on while it waited: asked for again, it is made then.
          if (!image) return void(queued_.erase(key));
          settle(key, path, std::move(*image));
        },
        // A file that cannot be copied or read shows without a thumbnail.
        [this, key = key, path = entry->path](const std::string&) { settle(key, path, {}); });
  }
}

void ThumbnailLoader::settle(const std::string& key, const std::string& path, QImage image) {
  queued_.erase(key);
  made_[key] = std::move(image);
  emit made(QString::fromStdString(path));
}

std::optional<QImage> ThumbnailLoader::thumbnail(const std::string& serial,
                                                 const RemoteEntry& entry) const {
  auto found = made_.find(RemoteFileCache::key(serial, entry));
  if (found == made_.end()) return std::nullopt;
  return found->second;
}

}  // namespace lumivale::app
