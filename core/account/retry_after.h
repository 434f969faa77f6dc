#pragma once

#include <optional>
#include <string_view>

namespace lumivale {

// The delay a Retry-After value asks for, in seconds: either a number of seconds or an
// HTTP date ("Sun, 06 Nov 1994 08:49:37 GMT") measured from `now` (seconds since
// 1970). None for a malformed value.
std::optional<double> retryAfterSeconds(std::string_view value, double now);

}  // namespace lumivale
