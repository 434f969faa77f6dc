#include "core/crypto_library.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <vector>

#include "core/error.h"
#include "core/shared_library.h"

namespace lumivale {

namespace {

struct CryptoLibrary {
  explicit CryptoLibrary(const SharedLibrary& library)
      : digest(LUMIVALE_LIBRARY_FUNCTION(library, EVP_Digest)),
        sha256(LUMIVALE_LIBRARY_FUNCTION(library, EVP_sha256)),
        decodeBlock(LUMIVALE_LIBRARY_FUNCTION(library, EVP_DecodeBlock)) {}

  decltype(&EVP_Digest) digest;
  decltype(&EVP_sha256) sha256;
  decltype(&EVP_DecodeBlock) decodeBlock;
};

const CryptoLibrary& cryptoLibrary() {
  // Initialised once even when several threads ask first; a failure is retried next time.
  static const CryptoLibrary library(SharedLibrary("libcrypto.so.3", "libcrypto"));
  return library;
}

}  // namespace

std::string sha256Hex(std::string_view bytes) {
  const CryptoLibrary& crypto = cryptoLibrary();
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  const int done =
      crypto.digest(bytes.data(), bytes.size(), digest.data(), &length, crypto.sha256(), nullptr);
  if (done != 1) throw Error("could not compute a SHA-256 digest");
  static constexpr char hexDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += hexDigits[digest[i] >> 4];
    hex += hexDigits[digest[i] & 0xf];
  }
  return hex;
}

std::optional<std::string> base64Decode(std::string_view text) {
  const size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
  if (text.size() % 4 != 0 || padding > 2 ||
      text.substr(0, text.size() - padding)
              .find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/") !=
          std::string_view::npos) {
    return std::nullopt;
  }
  std::vector<unsigned char> bytes(text.size() / 4 * 3 + 1);
  const int length =
      cryptoLibrary().decodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // EVP_DecodeBlock counts the bytes the padding stands for.
  return std::string(reinterpret_cast<char*>(bytes.data()), static_cast<size_t>(length) - padding);
}

std::optional<std::string> base64UrlDecode(std::string_view text) {
  if (text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_") !=
          std::string_view::npos ||
      text.size() % 4 == 1) {
    return std::nullopt;
  }
  std::string standard(text);
  std::replace(standard.begin(), standard.end(), '-', '+');
  std::replace(standard.begin(), standard.end(), '_', '/');
  standard.append((4 - standard.size() % 4) % 4, '=');
  return base64Decode(standard);
}

}  // namespace lumivale
