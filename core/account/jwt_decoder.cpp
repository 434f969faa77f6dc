#include "core/account/jwt_decoder.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/crypto_library.h"

namespace lumivale::JWTDecoder {

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
