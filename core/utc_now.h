#pragma once

#include <string>

namespace lumivale {

// The time now in UTC as ISO 8601 to the second: "2026-05-01T09:00:00Z".
std::string utcNow();

}  // namespace lumivale
