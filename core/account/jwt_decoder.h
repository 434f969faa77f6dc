#pragma once

#include <string>

#include "core/account/portmark_types.h"
#include "core/error.h"

namespace lumivale::JWTDecoder {

// Why a compact JWT could not be read.
class DecodeError : public Error {
 public:
  using Error::Error;
};

// Reads the subject and expiry of a compact JWT. The signature is not checked: the
// token goes back to the service that signed it, which checks it.
PortmarkJWT parse(const std::string& token);

}  // namespace lumivale::JWTDecoder
