#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/tablet/spawn.h"

namespace lumivale::testing {

// An adb executable made of a shell script, for testing what the bridge runs:
// it logs each argument list with the adb environment it saw, answers host commands
// from files, and runs tablet shell lines in a local shell whose PATH starts with a
// folder of scripted tablet tools.
class FakeAdbTool {
 public:
  FakeAdbTool() {
    char pattern[] = "/tmp/lumivale-fake-adb-XXXXXX";
    folder_ = ::mkdtemp(pattern);
    std::filesystem::create_directories(folder_ / "tablet");
    std::filesystem::create_directories(folder_ / "answers");
    writeExecutable(folder_ / "adb", R"(#!/bin/sh
dir=$(dirname "$0")
printf '%s|%s\n' "$ADB_MDNS_AUTO_CONNECT" "$*" >> "$dir/log"
[ "$1" = "-s" ] && shift 2
if [ "$1" = "shell" ]; then
  shift
  # Not exec'd: a tablet shell that dies leaves adb ending with 0, as old tablets do.
  PATH="$dir/tablet:$PATH" /bin/sh -c "$*"
  exit 0
fi
answer="$dir/answers/$1"
[ -f "$answer.hang" ] && exec /bin/sleep 30
[ -f "$answer" ] && cat "$answer"
[ -f "$answer.errors" ] && cat "$answer.errors" >&2
exit $(cat "$answer.status" 2>/dev/null || echo 0)
)");
  }
  ~FakeAdbTool() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  FakeAdbTool(const FakeAdbTool&) = delete;
  FakeAdbTool& operator=(const FakeAdbTool&) = delete;

  std::filesystem::path path() const { return folder_ / "adb"; }
  const std::filesystem::path& folder() const { return folder_; }

  // What `adb COMMAND ...` (a host command such as devices or connect) answers.
  void answer(const std::string& command, const std::string& output, int status = 0,
              const std::string& errors = "") {
    write(folder_ / "answers" / command, output);
    write(folder_ / "answers" / (command + ".status"), std::to_string(status));
    write(folder_ / "answers" / (command + ".errors"), errors);
  }

  // `adb COMMAND` that never finishes by itself.
  void hang(const std::string& command) { write(folder_ / "answers" / (command + ".hang"), ""); }

  // A tool on the tablet, as a shell script body.
  void tabletTool(const std::string& name, const std::string& script) {
    writeExecutable(folder_ / "tablet" / name, "#!/bin/sh\n" + script);
  }

  // Every adb run so far, one line each: "ADB_MDNS_AUTO_CONNECT value|arguments".
  std::string log() const {
    std::ifstream file(folder_ / "log");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

 private:
  static void write(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::trunc) << text;
  }
  static void writeExecutable(const std::filesystem::path& file, const std::string& text) {
    write(file, text);
    ::chmod(file.c_str(), 0755);
  }

  std::filesystem::path folder_;
};

}  // namespace lumivale::testing
