#include "core/account/http_url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>

#include "core/settings/url.h"

namespace lumivale {

namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

std::optional<HttpUrl> HttpUrl::parse(const std::string& text) {
  auto url = Url::parse(text);
  if (!url || !url->host || url->host->empty()) return std::nullopt;
  return HttpUrl{lowered(url->scheme),
                 lowered(*url->host),
                 url->port,
                 url->path,
                 url->query,
                 url->user.has_value() || url->password.has_value(),
                 url->query.has_value() || url->fragment.has_value()};
}

int HttpUrl::effectivePort() const {
  if (port) return *port;
  return scheme == "https" ? 443 : 80;
}

std::string HttpUrl::origin() const {
  std::string hostPart = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  std::string result = scheme + "://" + hostPart;
  if (port) result += ":" + std::to_string(*port);
  return result;
}

std::string HttpUrl::text() const {
  return origin() + (path.empty() ? "/" : path) + (query ? "?" + *query : "");
}

HttpUrl HttpUrl::appending(const std::string& suffix) const {
  HttpUrl result = *this;
  result.query.reset();
  std::string base = path;
  while (!base.empty() && base.back() == '/')
    base.pop_back();
  result.path = base + suffix;
  return result;
}

bool HttpUrl::isLocalHost() const {
  in_addr address{};
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) {
    return (ntohl(address.s_addr) >> 24) == 127;
  }
  return host == "localhost" || host == "::1";
}

}  // namespace lumivale
