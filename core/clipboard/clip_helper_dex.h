#pragma once

#include <string_view>

namespace lumivale {

// The clipboard helper's dex (helper/lumivale-clip.dex), embedded at build time.
extern const std::string_view clipHelperDexBase64;
// Its SHA-256, 64 lowercase hex digits.
extern const std::string_view clipHelperDexSha256;

}  // namespace lumivale
