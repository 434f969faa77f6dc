#pragma once

#include <optional>
#include <string>

#include "core/account/portmark_types.h"

namespace lumivale {

// What checking the stored session found.
struct SessionCheck {
  enum class Kind { signedIn, offline, storeFailed, noSession, rejected };
  Kind kind = Kind::noSession;
  std::optional<AuthUser> user;  // signedIn
  std::string detail;            // offline: the failure; storeFailed: the store's description

  bool operator==(const SessionCheck&) const = default;

  static SessionCheck signedIn(AuthUser user) { return {Kind::signedIn, std::move(user), {}}; }
  static SessionCheck offline(std::string message) {
    return {Kind::offline, std::nullopt, std::move(message)};
  }
  static SessionCheck storeFailed(std::string description) {
    return {Kind::storeFailed, std::nullopt, std::move(description)};
  }
  static SessionCheck noSession() { return {Kind::noSession, std::nullopt, {}}; }
  static SessionCheck rejected() { return {Kind::rejected, std::nullopt, {}}; }

  // The sentence shown for this outcome; empty when signed in.
  std::string userMessage() const;
};

}  // namespace lumivale
