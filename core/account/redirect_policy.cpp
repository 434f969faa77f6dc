#include "core/account/redirect_policy.h"

namespace lumivale {

const SameOriginRedirects SameOriginRedirects::shared;
const NoRedirects NoRedirects::shared;

bool SameOriginRedirects::follows(const HttpUrl& from, const HttpUrl& to) const {
  return from.scheme == to.scheme && from.host == to.host &&
         from.effectivePort() == to.effectivePort();
}

}  // namespace lumivale
