#pragma once

#include <string_view>

namespace lumivale::standin {

// Writes all of `data` to `fd`, riding out short writes and EINTR; false on error.
bool writeAll(int fd, std::string_view data);

}  // namespace lumivale::standin
