#include "core/crypto_library.h"

#include <gtest/gtest.h>

#include <string>

namespace lumivale {
namespace {

using namespace std::string_literals;

TEST(CryptoLibrary, Sha256MatchesKnownDigests) {
  EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  // Longer than one 64-byte block once padded.
  EXPECT_EQ(sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  // Every byte counts, NUL included.
  EXPECT_EQ(sha256Hex("a\0b"s), "59b271ae1bbcb1d31d41929817f4b16fb439eb4f31520b5ad1d5ce98920a7138");
}

TEST(CryptoLibrary, DigestsFedInPiecesMatchTheWholeAndKnownSha1) {
  Digest sha1(Digest::Kind::sha1);
  sha1.update("ab");
  sha1.update("c");
  EXPECT_EQ(sha1.finishHex(), "a9993e364706816aba3e25717850c26c9cd0d89d");
  Digest sha256(Digest::Kind::sha256);
  for (char c : "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"s)
    sha256.update(std::string(1, c));
  EXPECT_EQ(sha256.finishHex(),
            sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"s));
}

TEST(CryptoLibrary, Base64UrlDecodesEveryRemainderAndTheUrlAlphabet) {
  EXPECT_EQ(base64UrlDecode(""), "");
  EXPECT_EQ(base64UrlDecode("Zg"), "f");
  EXPECT_EQ(base64UrlDecode("Zm8"), "fo");
  EXPECT_EQ(base64UrlDecode("Zm9v"), "foo");
  EXPECT_EQ(base64UrlDecode("Zm9vYg"), "foob");
  EXPECT_EQ(base64UrlDecode("AA"), "\0"s);
  EXPECT_EQ(base64UrlDecode("-_8"), "\xfb\xff");
  EXPECT_EQ(base64UrlDecode("AAD_"), "\0\0\xff"s);
}

TEST(CryptoLibrary, Base64UrlRefusesWhatIsNotUnpaddedBase64Url) {
  EXPECT_EQ(base64UrlDecode("+/8"), std::nullopt);    // the standard alphabet
  EXPECT_EQ(base64UrlDecode("Zg=="), std::nullopt);   // padding
  EXPECT_EQ(base64UrlDecode("Zm9vY"), std::nullopt);  // one digit over a whole quad
  EXPECT_EQ(base64UrlDecode("Zm 9v"), std::nullopt);
  EXPECT_EQ(base64UrlDecode("Zm9v\n"), std::nullopt);
  EXPECT_EQ(base64UrlDecode("Zm\xc3\xa9v"), std::nullopt);
}

TEST(CryptoLibrary, Base64DecodesPaddedStandardTextOnly) {
  EXPECT_EQ(base64Decode(""), "");
  EXPECT_EQ(base64Decode("Zg=="), "f");
  EXPECT_EQ(base64Decode("Zm8="), "fo");
  EXPECT_EQ(base64Decode("+/8A"), "\xfb\xff\0"s);
  EXPECT_EQ(base64Decode("Zg"), std::nullopt);  // padding missing
  EXPECT_EQ(base64Decode("Z==="), std::nullopt);
  EXPECT_EQ(base64Decode("Z=g="), std::nullopt);
  EXPECT_EQ(base64Decode("-_8A"), std::nullopt);  // the URL alphabet
  EXPECT_EQ(base64Decode("Zm9v\n"), std::nullopt);
}

}  // namespace
}  // namespace lumivale
