#pragma once

#include "core/account/http_url.h"

namespace lumivale {

// Decides whether a redirect answer is followed or returned as it is.
class RedirectPolicy {
 public:
  virtual ~RedirectPolicy() = default;
  virtual bool follows(const HttpUrl& from, const HttpUrl& to) const = 0;
};

// Follows a redirect only within the same scheme, host and port: credentials never
// travel to a server the request was not meant for.
class SameOriginRedirects : public RedirectPolicy {
 public:
  static const SameOriginRedirects shared;
  bool follows(const HttpUrl& from, const HttpUrl& to) const override;
};

// Follows none; the redirect answer itself is returned.
class NoRedirects : public RedirectPolicy {
 public:
  static const NoRedirects shared;
  bool follows(const HttpUrl&, const HttpUrl&) const override { return false; }
};

}  // namespace lumivale
