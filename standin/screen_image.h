#pragma once

#include <string>

namespace lumivale::standin {

// A grey PNG of the given size, standing in for the tablet's screen.
std::string screenImage(unsigned width, unsigned height);

}  // namespace lumivale::standin
