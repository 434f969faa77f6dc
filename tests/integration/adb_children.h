#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include <fmt/format.h>

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

// Whether `process` holds an open TCP connection to loopback `port`, as a program that
// asks the adb server on that port for a shell command does while it runs.
inline bool connectedTo(pid_t process, std::uint16_t port) {
  std::set<std::string> sockets;  // the inode numbers of the process's sockets
  std::error_code error;
  const auto descriptors = std::filesystem::path("/proc") / std::to_string(process) / "fd";
  for (const auto& entry : std::filesystem::directory_iterator(descriptors, error)) {
    const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
    if (target.starts_with("socket:[")) sockets.insert(target.substr(8, target.size() - 9));
  }
  // "sl local_address rem_address st tx:rx tr:when retrnsmt uid timeout inode ...", in hex.
  std::ifstream table("/proc/net/tcp");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string slot, local, remote, state, queues, timer, retransmits, uid, timeout, inode;
    fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> uid >>
        timeout >> inode;
    if (state == "01" && remote.ends_with(fmt::format(":{:04X}", port)) && sockets.contains(inode))
      return true;
  }
  return false;
}

// Waits until an adb run of `parent` is under way; false when none came in a minute.
// With `serverPort`, a shell command it asks of the adb server there counts as well.
inline bool adbRunUnderWay(pid_t parent = ::getpid(), const std::string& argument = "",
                           std::optional<std::uint16_t> serverPort = std::nullopt) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (adbChildren(parent, argument) == 0 && !(serverPort && connectedTo(parent, *serverPort))) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace lumivale::testing
