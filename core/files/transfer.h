#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/observer.h"

namespace lumivale {

// How large one copy may be, and how much space it must leave free where it lands.
struct TransferLimits {
  std::uint64_t maxBytes = 0;
  std::uint64_t reserveBytes = 0;

  bool operator==(const TransferLimits&) const = default;

  static constexpr TransferLimits standard() {
    return {68'719'476'736ull /* 64 GiB */, 536'870'912ull /* 512 MiB */};
  }
};

struct TransferProgress {
  std::int64_t done = 0;
  std::optional<std::int64_t> total;

  bool operator==(const TransferProgress&) const = default;

  std::optional<double> fraction() const {
    if (!total) return std::nullopt;
    // An empty copy is complete as soon as it starts.
    if (*total <= 0) return 1.0;
    return static_cast<double>(done) / static_cast<double>(*total);
  }
};

// Told of a copy's progress; see Observer for when and on which thread.
using TransferObserver = Observer<TransferProgress>;

// What a push does when its target name is taken.
enum class CollisionPolicy { ask, replace, keepBoth };

inline constexpr std::array<CollisionPolicy, 3> allCollisionPolicies{
    CollisionPolicy::ask, CollisionPolicy::replace, CollisionPolicy::keepBoth};

std::string_view rawValue(CollisionPolicy policy);
std::optional<CollisionPolicy> collisionPolicy(std::string_view rawValue);

}  // namespace lumivale
