#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace lumivale::testing {

// Asks again until `holds` is true, for 10 s at most. The stand-in's unauthorized
// fault makes adb swing between "authorizing" (offering its keys) and
// "unauthorized", so a state is looked for rather than read once.
inline bool eventually(const std::function<bool()>& holds) {
  for (int look = 0; look < 100; ++look) {
    if (holds()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

}  // namespace lumivale::testing
