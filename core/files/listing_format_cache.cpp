#include "core/files/listing_format_cache.h"

namespace lumivale {

std::shared_ptr<ListingFormatCache> ListingFormatCache::shared() {
  static const auto cache = std::make_shared<ListingFormatCache>();
  return cache;
}

std::optional<RemoteListing::Format> ListingFormatCache::format(const std::string& serial) const {
  std::lock_guard lock(mutex_);
  auto found = formats_.find(serial);
  if (found == formats_.end()) return std::nullopt;
  return found->second;
}

void ListingFormatCache::setFormat(const std::string& serial, RemoteListing::Format format) {
  std::lock_guard lock(mutex_);
  formats_[serial] = format;
}

std::optional<std::vector<std::string>> ListingFormatCache::resolver(
    const std::string& serial) const {
  std::lock_guard lock(mutex_);
  auto found = resolvers_.find(serial);
  if (found == resolvers_.end()) return std::nullopt;
  return found->second;
}

void ListingFormatCache::setResolver(const std::string& serial, std::vector<std::string> resolver) {
  std::lock_guard lock(mutex_);
  resolvers_[serial] = std::move(resolver);
}

}  // namespace lumivale
