#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QImage>
#include <QObject>
#include <QString>

#include "app/shell/background_work.h"
#include "core/files/remote_entry.h"
#include "core/files/remote_file_cache.h"

namespace lumivale {
class AdbBridge;
}

namespace lumivale::app {

// Thumbnails of the images and PDFs of the folder shown, made on a worker from copies in
// the preview cache: a file is pulled from the tablet once, and read from the cache after.
// Only the items asked for are made, one at a time; a new folder stops what is under way.
class ThumbnailLoader : public QObject {
  Q_OBJECT

 public:
  // The side of the square a thumbnail fits in, in pixels.
  static constexpr int side = 64;

  explicit ThumbnailLoader(RemoteFileCache cache, QObject* parent = nullptr);

  // Stops the thumbnails under way and those waiting, and forgets those made: the folder
  // is no longer shown.
  void stop();
  // Makes the thumbnails of those of `entries` that have none yet, in their order; any
  // still waiting that are not among them are given up.
  void want(std::shared_ptr<AdbBridge> bridge, const std::string& serial,
            const std::vector<RemoteEntry>& entries);
  // The thumbnail of `entry` once made; a null image when none could be made.
  std::optional<QImage> thumbnail(const std::string& serial, const RemoteEntry& entry) const;

 signals:
  void made(const QString& path);

 private:
  // The keys still wanted, read by the worker before each one.
  struct Wanted {
    std::mutex mutex;
    std::set<std::string> keys;
    bool has(const std::string& key);
  };

  void settle(const std::string& key, const std::string& path, QImage image);

  const RemoteFileCache cache_;
  std::map<std::string, QImage> made_;  // by cache key
  std::set<std::string> queued_;
  std::shared_ptr<Wanted> wanted_ = std::make_shared<Wanted>();
  bool pruned_ = false;
  StopToken batch_;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
