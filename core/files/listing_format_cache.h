#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/files/remote_listing.h"

namespace lumivale {

// What each tablet's tools turned out to be able to do, so later calls go straight
// to what worked: the listing format and the command that resolves paths.
class ListingFormatCache {
 public:
  // The one cache of this program run.
  static std::shared_ptr<ListingFormatCache> shared();

  std::optional<RemoteListing::Format> format(const std::string& serial) const;
  void setFormat(const std::string& serial, RemoteListing::Format format);

  std::optional<std::vector<std::string>> resolver(const std::string& serial) const;
  void setResolver(const std::string& serial, std::vector<std::string> resolver);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, RemoteListing::Format> formats_;
  std::map<std::string, std::vector<std::string>> resolvers_;
};

}  // namespace lumivale
