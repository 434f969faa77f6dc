#pragma once

#include <optional>
#include <string>

namespace lumivale {

// An absolute http or https URL split into the parts the account rules look at.
struct HttpUrl {
  std::string scheme;  // lower case
  std::string host;    // lower case, without brackets
  std::optional<int> port;
  std::string path;  // as written, without query or fragment
  std::optional<std::string> query;
  bool hasUserInfo = false;
  bool hasQueryOrFragment = false;

  bool operator==(const HttpUrl&) const = default;

  // Parses an absolute URL; none when it is not one.
  static std::optional<HttpUrl> parse(const std::string& text);

  // The port a connection goes to, the scheme's default when none is written.
  int effectivePort() const;
  // "scheme://host[:port]", as the Origin header carries it.
  std::string origin() const;
  // The full URL text.
  std::string text() const;
  // This URL with `suffix` appended to its path.
  HttpUrl appending(const std::string& suffix) const;
  // A loopback host: "localhost", a 127.x.x.x address, or ::1.
  bool isLocalHost() const;
};

}  // namespace lumivale
