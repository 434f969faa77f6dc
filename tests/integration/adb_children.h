#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace lumivale::testing {

// How many adb client processes `parent` (by default this test process) started and has
// not reaped yet; with `argument`, only those given it (such as "shell").
inline int adbChildren(pid_t parent = ::getpid(), const std::string& argument = "") {
  int count = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    std::string line;
    try {
      std::ifstream stat(entry.path() / "stat");
      if (!std::getline(stat, line)) continue;
    } catch (const std::ios_base::failure&) {
      continue;  // the process ended while it was read: /proc answers ESRCH
    }
    // "PID (COMM) STATE PPID ...": the name may hold blanks, so read around the brackets.
    auto open = line.find('(');
    auto close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos) continue;
    std::string rest = line.substr(close + 2);
    if (std::stol(rest.substr(rest.find(' ') + 1)) != parent ||
        line.substr(open + 1, close - open - 1) != "adb")
      continue;
    std::string arguments;
    try {
      std::ifstream commandLine(entry.path() / "cmdline");
      arguments.assign(std::istreambuf_iterator<char>(commandLine), {});
    } catch (const std::ios_base::failure&) {
      continue;
    }
    if (argument.empty() || arguments.find('\0' + argument + '\0') != std::string::npos) ++count;
  }
  return count;
}

// Waits until an adb run of `parent` is under way; false when none came in a minute.
inline bool adbRunUnderWay(pid_t parent = ::getpid(), const std::string& argument = "") {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (adbChildren(parent, argument) == 0) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace lumivale::testing
