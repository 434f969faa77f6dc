#include "core/settings/url.h"

#include <cctype>

#include "core/checked_number.h"

namespace lumivale {
namespace {

bool isHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// Blanks, control characters and the few that may never appear unescaped in a URL.
bool allowedCharacters(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c == 0x7f) return false;
    if (std::string_view("\"<>\\^`{|}").find(static_cast<char>(c)) != std::string_view::npos)
      return false;
    if (c == '%' && (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])))
      return false;
  }
  return true;
}

bool validScheme(std::string_view scheme) {
  if (scheme.empty() || !std::isalpha(static_cast<unsigned char>(scheme[0]))) return false;
  for (char c : scheme) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.')
      return false;
  }
  return true;
}

std::optional<int> parsePort(std::string_view digits) {
  auto port = CheckedNumber::parse<int>(digits);
  if (!port || *port < 0 || *port > 65535) return std::nullopt;
  return port;
}

// Fills host and port from "host", "host:port" or "[v6]:port"; false when malformed.
bool parseHostAndPort(std::string_view text, Url& url) {
  std::string_view rest;
  if (text.starts_with('[')) {
    auto close = text.find(']');
    if (close == std::string_view::npos) return false;
    auto literal = text.substr(1, close - 1);
    if (literal.find_first_not_of("0123456789abcdefABCDEF:.") != std::string_view::npos)
      return false;
    url.host = std::string(literal);
    rest = text.substr(close + 1);
    if (!rest.empty() && !rest.starts_with(':')) return false;
  } else {
    auto colon = text.find(':');
    auto host = text.substr(0, colon);
    if (host.find_first_of("[]@") != std::string_view::npos) return false;
    url.host = std::string(host);
    rest = colon == std::string_view::npos ? std::string_view() : text.substr(colon);
  }
  if (rest.size() > 1) {  // a lone ":" is an empty port, which means the default
    auto port = parsePort(rest.substr(1));
    if (!port) return false;
    url.port = port;
  }
  return true;
}

bool parseAuthority(std::string_view authority, Url& url) {
  auto at = authority.rfind('@');
  if (at != std::string_view::npos) {
    auto userInfo = authority.substr(0, at);
    auto colon = userInfo.find(':');
    url.user = std::string(userInfo.substr(0, colon));
    if (colon != std::string_view::npos) url.password = std::string(userInfo.substr(colon + 1));
    authority = authority.substr(at + 1);
  }
  return parseHostAndPort(authority, url);
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (!allowedCharacters(text)) return std::nullopt;
  Url url;
  url.text = std::string(text);

  auto colon = text.find(':');
  if (colon == std::string_view::npos || !validScheme(text.substr(0, colon))) return std::nullopt;
  url.scheme = std::string(text.substr(0, colon));
  auto rest = text.substr(colon + 1);

  if (auto hash = rest.find('#'); hash != std::string_view::npos) {
    url.fragment = std::string(rest.substr(hash + 1));
    rest = rest.substr(0, hash);
  }
  if (auto question = rest.find('?'); question != std::string_view::npos) {
    url.query = std::string(rest.substr(question + 1));
    rest = rest.substr(0, question);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    auto slash = rest.find('/');
    if (!parseAuthority(rest.substr(0, slash), url)) return std::nullopt;
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
  }
  url.path = std::string(rest);
  return url;
}

}  // namespace lumivale
