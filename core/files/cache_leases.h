#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace lumivale {

// Which preview copies are in use right now; a leased copy is never pruned.
class CacheLeases {
 public:
  // The leases of this program run.
  static std::shared_ptr<CacheLeases> shared();

  void acquire(const std::string& key);
  void release(const std::string& key);
  bool isLeased(const std::string& key) const;

  // Holds one lease for as long as it lives.
  class Lease {
   public:
    Lease(std::shared_ptr<CacheLeases> leases, std::string key);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

   private:
    std::shared_ptr<CacheLeases> leases_;
    std::string key_;
  };

 private:
  mutable std::mutex mutex_;
  std::map<std::string, int> counts_;
};

}  // namespace lumivale
