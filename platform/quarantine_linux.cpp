#include "platform/quarantine.h"

namespace lumivale::platform {

int markQuarantine(const std::filesystem::path&) {
  return 0;
}

}  // namespace lumivale::platform
