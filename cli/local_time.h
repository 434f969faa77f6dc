#pragma once

#include <chrono>
#include <string>

namespace lumivale::cli {

// A moment as the user's clock shows it, to the minute: "2026-03-04 05:06".
std::string localTime(std::chrono::system_clock::time_point when);

}  // namespace lumivale::cli
