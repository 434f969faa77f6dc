#include "core/account/transport_policy.h"

namespace lumivale::TransportPolicy {

bool isAllowedDestination(const HttpUrl& url) {
  if (url.scheme == "https") return true;
  return url.scheme == "http" && url.isLocalHost();
}

}  // namespace lumivale::TransportPolicy
