#pragma once

#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "core/crypto_library.h"
#include "core/tablet/adb_runner.h"

namespace lumivale::testing {

// A tablet's /data/local/tmp for installing the helper: sha256sum, push and mv act on
// files kept in memory, and each command is recorded.
class FakeClipTablet : public AdbRunner, public AdbFileRunner {
 public:
  std::map<std::string, std::string> files;
  std::vector<std::string> commands;
  bool pushLosesLastByte = false;

  std::string shell(const std::string&, const std::string& command, Seconds,
                    const StopToken* = nullptr) override {
    std::lock_guard guard(lock_);
    commands.push_back(command);
    std::istringstream words(command);
    std::string tool, first, second, third;
    words >> tool >> first >> second >> third;
    if (tool == "sha256sum") {
      auto found = files.find(first);
      return found == files.end() ? "" : sha256Hex(found->second) + "  " + first + "\n";
    }
    if (tool == "mv" && first == "-f") {
      files[third] = files.at(second);
      files.erase(second);
    }
    return "";
  }

  ToolRun run(const std::string&, const std::vector<std::string>& arguments, Seconds,
              const StopToken*) override {
    std::lock_guard guard(lock_);
    commands.push_back(arguments.at(0));
    std::ifstream local(arguments.at(1), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(local), {}};
    if (pushLosesLastByte && !bytes.empty()) bytes.pop_back();
    files[arguments.at(2)] = bytes;
    return {};
  }

 private:
  std::mutex lock_;
};

}  // namespace lumivale::testing
