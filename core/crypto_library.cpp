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
        decodeBlock(LUMIVALE_LIBRARY_FUNCTION(library, EVP_DecodeBlock)),
        sha1(LUMIVALE_LIBRARY_FUNCTION(library, EVP_sha1)),
        contextNew(LUMIVALE_LIBRARY_FUNCTION(library, EVP_MD_CTX_new)),
        contextFree(LUMIVALE_LIBRARY_FUNCTION(library, EVP_MD_CTX_free)),
        digestInit(LUMIVALE_LIBRARY_FUNCTION(library, EVP_DigestInit_ex)),
        digestUpdate(LUMIVALE_LIBRARY_FUNCTION(library, EVP_DigestUpdate)),
        digestFinal(LUMIVALE_LIBRARY_FUNCTION(library, EVP_DigestFinal_ex)) {}

  decltype(&EVP_Digest) digest;
  decltype(&EVP_sha256) sha256;
  decltype(&EVP_DecodeBlock) decodeBlock;
  decltype(&EVP_sha1) sha1;
  decltype(&EVP_MD_CTX_new) contextNew;
  decltype(&EVP_MD_CTX_free) contextFree;
  decltype(&EVP_DigestInit_ex) digestInit;
  decltype(&EVP_DigestUpdate) digestUpdate;
  decltype(&EVP_DigestFinal_ex) digestFinal;
};

const CryptoLibrary& cryptoLibrary() {
  // Initialised once even when several threads ask first; a failure is retried next time.
  static const CryptoLibrary library(SharedLibrary("libcrypto.so.3", "libcrypto"));
  return library;
}

std::string hexOf(const unsigned char* digest, unsigned int length) {
  static constexpr char hexDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += hexDigits[digest[i] >> 4];
    hex += hexDigits[digest[i] & 0xf];
  }
  return hex;
}

}  // namespace

std::string sha256Hex(std::string_view bytes) {
  const CryptoLibrary& crypto = cryptoLibrary();
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  const int done =
      crypto.digest(bytes.data(), bytes.size(), digest.data(), &length, crypto.sha256(), nullptr);
  if (done != 1) throw Error("could not compute a SHA-256 digest");
  return hexOf(digest.data(), length);
}

Digest::Digest(Kind kind) : context_(nullptr) {
  const CryptoLibrary& crypto = cryptoLibrary();
  EVP_MD_CTX* context = crypto.contextNew();
  if (!context) throw Error("could not start a digest");
  context_ = context;
  const EVP_MD* type = kind == Kind::sha1 ? crypto.sha1() : crypto.sha256();
  if (crypto.digestInit(context, type, nullptr) != 1) {
    crypto.contextFree(context);
    throw Error("could not start a digest");
  }
}

Digest::~Digest() {
  cryptoLibrary().contextFree(static_cast<EVP_MD_CTX*>(context_));
}

void Digest::update(std::string_view bytes) {
  if (cryptoLibrary().digestUpdate(static_cast<EVP_MD_CTX*>(context_), bytes.data(),
                                   bytes.size()) != 1)
    throw Error("could not compute a digest");
}

std::string Digest::finishHex() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (cryptoLibrary().digestFinal(static_cast<EVP_MD_CTX*>(context_), digest.data(), &length) != 1)
    throw Error("could not compute a digest");
  return hexOf(digest.data(), length);
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
