#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "core/files/reading-folder/mac_scan.h"

namespace lumivale {

double secondsOf(const struct timespec& time);
std::int64_t nanosecondsOf(const struct timespec& time);
// The folder open as `folder`, found at `url`.
MacRoot rootOf(int folder, const std::string& url);

}  // namespace lumivale
