#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace lumivale::testing {

// How many adb processes `parent` started and has not reaped yet.
inline int adbChildrenOf(pid_t parent) {
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
    long parentSeen = std::stol(rest.substr(rest.find(' ') + 1));
    if (parentSeen == parent && line.substr(open + 1, close - open - 1) == "adb") ++count;
  }
  return count;
}

// How many adb client processes this test process started (or, as a subreaper, was
// left by a child that ended) and has not reaped yet.
inline int adbChildren() {
  return adbChildrenOf(::getpid());
}

// Waits until an adb run of `parent` (this process by default) is under way; false when
// none came in a minute.
inline bool adbRunUnderWay(pid_t parent = ::getpid()) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (adbChildrenOf(parent) == 0) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace lumivale::testing
