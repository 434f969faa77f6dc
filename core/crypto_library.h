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

// SHA-256 over bytes given piece by piece, for files too big to hold at once.
class Sha256 {
 public:
  Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  ~Sha256();
  void update(std::string_view bytes);
  // The digest as 64 lowercase hex digits; call once.
  std::string finish();

 private:
  void* context_;
};

// The bytes `text` stands for in padded standard base64; nullopt when it is not that.
std::optional<std::string> base64Decode(std::string_view text);

// The bytes `text` stands for in unpadded base64url; nullopt when it is not that.
std::optional<std::string> base64UrlDecode(std::string_view text);

}  // namespace lumivale
