#pragma once

#include <string>
#include <vector>

#include "core/tablet/adb_locate.h"

namespace lumivale::companion {

// The adb in use (the first usable look) and why each other candidate is not, one line
// each, as `lumivale tools` prints them; "adb: none usable" first when there is none.
std::string adbLooksText(const std::vector<AdbCandidateLook>& looks);

}  // namespace lumivale::companion
