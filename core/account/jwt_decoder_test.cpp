#include "core/account/jwt_decoder.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

std::string decodeError(const std::string& token) {
  try {
    JWTDecoder::parse(token);
  } catch (const JWTDecoder::DecodeError& error) {
    return error.message();
  }
  return "decoded";
}

// {"sub":"user-1","exp":1700000000.5} and friends, base64url without padding.
TEST(JWTDecoder, ReadsSubjectAndExpiryWithoutCheckingTheSignature) {
  auto jwt =
      JWTDecoder::parse("eyJhbGciOiJFZERTQSJ9.eyJzdWIiOiJ1c2VyLTEiLCJleHAiOjE3MDAwMDAwMDAuNX0.x");
  EXPECT_EQ(jwt.sub, "user-1");
  EXPECT_EQ(jwt.expiresAt, 1700000000.5);
  EXPECT_EQ(jwt.token, "eyJhbGciOiJFZERTQSJ9.eyJzdWIiOiJ1c2VyLTEiLCJleHAiOjE3MDAwMDAwMDAuNX0.x");
  // URL-safe characters: {"sub":"?>?","exp":1} encodes with '-' and '_'.
  EXPECT_EQ(JWTDecoder::parse("h.eyJzdWIiOiI_Pj8iLCJleHAiOjF9.s").sub, "?>?");
}

TEST(JWTDecoder, FailsWithTheFirstCheckThatDoesNotHold) {
  EXPECT_EQ(decodeError("abc.def"), "not a JWT: expected 3 dot-separated parts");
  EXPECT_EQ(decodeError("a.b.c.d"), "not a JWT: expected 3 dot-separated parts");
  EXPECT_EQ(decodeError("h.eyJzd+WIi.s"), "JWT payload is not base64url");
  EXPECT_EQ(decodeError("h.e.s"), "JWT payload is not base64url");
  EXPECT_EQ(decodeError("h.WzFd.s"), "JWT payload is not a JSON object");  // [1]
  EXPECT_EQ(decodeError("h..s"), "JWT payload is not a JSON object");
  EXPECT_EQ(decodeError("h.eyJleHAiOjF9.s"), "JWT carries no sub claim");             // {"exp":1}
  EXPECT_EQ(decodeError("h.eyJzdWIiOjEsImV4cCI6MX0.s"), "JWT carries no sub claim");  // sub 1
  EXPECT_EQ(decodeError("h.eyJzdWIiOiJ1In0.s"), "JWT carries no exp claim");          // {"sub":"u"}
}

}  // namespace
}  // namespace lumivale
