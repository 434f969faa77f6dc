#include "core/files/cache_leases.h"

namespace lumivale {

std::shared_ptr<CacheLeases> CacheLeases::shared() {
  static const auto leases = std::make_shared<CacheLeases>();
  return leases;
}

void CacheLeases::acquire(const std::string& key) {
  std::lock_guard lock(mutex_);
  ++counts_[key];
}

void CacheLeases::release(const std::string& key) {
  std::lock_guard lock(mutex_);
  auto found = counts_.find(key);
  if (found == counts_.end()) return;
  if (--found->second <= 0) counts_.erase(found);
}

bool CacheLeases::isLeased(const std::string& key) const {
  std::lock_guard lock(mutex_);
  return counts_.count(key) > 0;
}

CacheLeases::Lease::Lease(std::shared_ptr<CacheLeases> leases, std::string key)
    : leases_(std::move(leases)), key_(std::move(key)) {
  leases_->acquire(key_);
}

CacheLeases::Lease::~Lease() {
  leases_->release(key_);
}

}  // namespace lumivale
