#include "core/files/transfer.h"

namespace lumivale {

std::string_view rawValue(CollisionPolicy policy) {
  switch (policy) {
    case CollisionPolicy::ask:
      return "ask";
    case CollisionPolicy::replace:
      return "replace";
    case CollisionPolicy::keepBoth:
      return "keepBoth";
  }
  return "ask";
}

std::optional<CollisionPolicy> collisionPolicy(std::string_view raw) {
  for (auto policy : allCollisionPolicies) {
    if (rawValue(policy) == raw) return policy;
  }
  return std::nullopt;
}

}  // namespace lumivale
