#pragma once

#include <string>

namespace lumivale {

// A version 4 (random) UUID in lower case, "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx".
std::string randomUuid();

}  // namespace lumivale
