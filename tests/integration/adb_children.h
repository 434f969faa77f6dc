#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace lumivale::testing {

// How many adb client processes this test process started and has not reaped yet.
inline int adbChildren() {
  int count = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    std::ifstream stat(entry.path() / "stat");
    std::string line;
    if (!std::getline(stat, line)) continue;
    // "PID (COMM) STATE PPID ...": the name may hold blanks, so read around the brackets.
    auto open = line.find('(');
    auto close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos) continue;
    std::string rest = line.substr(close + 2);
    long parent = std::stol(rest.substr(rest.find(' ') + 1));
    if (parent == ::getpid() && line.substr(open + 1, close - open - 1) == "adb") ++count;
  }
  return count;
}

// Waits until an adb run of this process is under way; false when none came in a minute.
inline bool adbRunUnderWay() {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (adbChildren() == 0) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace lumivale::testing
