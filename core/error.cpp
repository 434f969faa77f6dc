#include "core/error.h"

namespace lumivale {

const char* Error::what() const noexcept {
  return message_.c_str();
}

}  // namespace lumivale
