#pragma once

#include <string>
#include <vector>

#include "core/tablet/tool_run.h"

namespace lumivale {

// What the tablet-facing code runs its commands through, so it can run against a
// scripted tablet in unit tests as well as a real one.
class AdbRunner {
 public:
  virtual ~AdbRunner() = default;
  // Runs one command line in the tablet's shell for `serial` and returns its
  // standard output. Throws AdbError when adb fails or the deadline passes.
  virtual std::string shell(const std::string& serial, const std::string& command,
                            Seconds timeout) = 0;
};

// Runs plain adb argument lists (`adb -s SERIAL ARGS...`) for file work. A time-out,
// a cancel or a non-zero status is reported in the result, not thrown.
class AdbFileRunner {
 public:
  virtual ~AdbFileRunner() = default;
  virtual ToolRun run(const std::string& serial, const std::vector<std::string>& arguments,
                      Seconds timeout, ToolCancel* cancel = nullptr) = 0;
};

}  // namespace lumivale
