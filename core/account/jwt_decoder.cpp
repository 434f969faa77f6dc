#include "core/account/jwt_decoder.h"

#include <openssl/evp.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace lumivale::JWTDecoder {

namespace {

std::optional<std::string> base64UrlDecode(std::string text) {
  if (text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_") !=
          std::string::npos ||
      text.size() % 4 == 1) {
    return std::nullopt;
  }
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  size_t padding = (4 - text.size() % 4) % 4;
  text.append(padding, '=');
  std::vector<unsigned char> bytes(text.size() / 4 * 3 + 1);
  int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                               static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // EVP_DecodeBlock counts the bytes the padding stands for.
  return std::string(reinterpret_cast<char*>(bytes.data()), static_cast<size_t>(length) - padding);
}

}  // namespace

PortmarkJWT parse(const std::string& token) {
  if (std::count(token.begin(), token.end(), '.') != 2) {
    throw DecodeError("not a JWT: expected 3 dot-separated parts");
  }
  size_t first = token.find('.');
  size_t second = token.find('.', first + 1);
  auto payload = base64UrlDecode(token.substr(first + 1, second - first - 1));
  if (!payload) throw DecodeError("JWT payload is not base64url");
  auto claims = nlohmann::json::parse(*payload, nullptr, false);
  if (!claims.is_object()) throw DecodeError("JWT payload is not a JSON object");
  auto sub = claims.find("sub");
  if (sub == claims.end() || !sub->is_string()) throw DecodeError("JWT carries no sub claim");
  auto exp = claims.find("exp");
  if (exp == claims.end() || !exp->is_number()) throw DecodeError("JWT carries no exp claim");
  return PortmarkJWT{token, sub->get<std::string>(), exp->get<double>()};
}

}  // namespace lumivale::JWTDecoder
