#include "core/account/http_url.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace lumivale {

namespace {

struct UrlHandleDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};

std::optional<std::string> part(CURLU* handle, CURLUPart which) {
  char* value = nullptr;
  if (curl_url_get(handle, which, &value, 0) != CURLUE_OK) return std::nullopt;
  std::string text(value);
  curl_free(value);
  return text;
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

std::optional<HttpUrl> HttpUrl::parse(const std::string& text) {
  std::unique_ptr<CURLU, UrlHandleDeleter> handle(curl_url());
  if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  auto scheme = part(handle.get(), CURLUPART_SCHEME);
  auto host = part(handle.get(), CURLUPART_HOST);
  if (!scheme || !host || host->empty()) return std::nullopt;
  HttpUrl url;
  url.scheme = lowered(*scheme);
  url.host = lowered(*host);
  if (url.host.size() > 2 && url.host.front() == '[' && url.host.back() == ']') {
    url.host = url.host.substr(1, url.host.size() - 2);
  }
  if (auto port = part(handle.get(), CURLUPART_PORT)) url.port = std::stoi(*port);
  url.path = part(handle.get(), CURLUPART_PATH).value_or("/");
  url.hasUserInfo = part(handle.get(), CURLUPART_USER) || part(handle.get(), CURLUPART_PASSWORD);
  url.hasQueryOrFragment =
      part(handle.get(), CURLUPART_QUERY) || part(handle.get(), CURLUPART_FRAGMENT) ||
      text.find('?') != std::string::npos || text.find('#') != std::string::npos;
  return url;
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
  return origin() + (path.empty() ? "/" : path);
}

HttpUrl HttpUrl::appending(const std::string& suffix) const {
  HttpUrl result = *this;
  std::string base = path;
  while (!base.empty() && base.back() == '/') base.pop_back();
  result.path = base + suffix;
  return result;
}

bool HttpUrl::isLocalHost() const {
  return host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0;
}

}  // namespace lumivale
