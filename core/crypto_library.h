#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumivale {

// SHA-256 and base64 from libcrypto, loaded on first use: linking it would relocate
// all of OpenSSL at the start of every command. Both throw SharedLibraryError when
// libcrypto cannot be loaded.

// The SHA-256 digest of `bytes`, as 64 lowercase hex digits.
std::string sha256Hex(std::string_view bytes);

// A digest fed piece by piece, for what is too large to hold at once.
class Digest {
 public:
  enum class Kind { sha1, sha256 };
  explicit Digest(Kind kind);
  ~Digest();
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  void update(std::string_view bytes);
  // Lowercase hex digits of everything fed so far; the digest can take no more after it.
  std::string finishHex();

 private:
  void* context_;
};

// The bytes `text` stands for in padded standard base64; nullopt when it is not that.
std::optional<std::string> base64Decode(std::string_view text);

// The bytes `text` stands for in unpadded base64url; nullopt when it is not that.
std::optional<std::string> base64UrlDecode(std::string_view text);

}  // namespace lumivale
