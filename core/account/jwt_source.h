#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "core/account/portmark_client.h"
#include "core/account/session_store.h"

namespace lumivale {

// Supplies a valid JWT for the library service: the cached one while it is good for
// longer than `refreshMargin`, a freshly minted one otherwise. The stored token is
// re-read at most every `storeReadInterval` seconds, or at once when the session
// generation moved. Fails with SessionExpired when the server rejects the session,
// NotSignedIn when there is none.
class JwtSource {
 public:
  using Clock = std::function<double()>;  // seconds since 1970

  JwtSource(PortmarkClient& portmark, SessionStore& store, double refreshMargin,
            double storeReadInterval, Clock now = systemClock);

  PortmarkJWT jwt();
  // Drops the cache; a mint already under way does not refill it.
  void invalidate();
  int epoch() const;

  static double systemClock();

 private:
  struct StoreRead {
    std::optional<std::string> token;
    double at = 0;
    std::string generation;
  };

  std::string currentGeneration() const;

  PortmarkClient& portmark_;
  SessionStore& store_;
  const double refreshMargin_;
  const double storeReadInterval_;
  const Clock now_;

  mutable std::mutex state_;  // the fields below; never held while reading or minting
  std::condition_variable settled_;
  bool busy_ = false;  // a jwt() is reading or minting; the others wait for its answer
  std::optional<PortmarkJWT> cached_;
  std::optional<std::string> mintedFrom_;
  std::optional<StoreRead> lastStoreRead_;
  int epoch_ = 0;
};

}  // namespace lumivale
