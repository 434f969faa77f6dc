#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/tablet/adb_stream.h"
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

// Starts long-lived adb children, so that code using them runs against a scripted
// stream in unit tests. The bridge is the real one.
class AdbStreamRunner {
 public:
  virtual ~AdbStreamRunner() = default;
  // Starts `adb ARGUMENTS...` (`-s SERIAL shell -T ...`, `track-devices`, ...). `sink`
  // and `cancel` must outlive the stream; cancelling kills the child. Throws AdbError
  // when adb cannot be started or the serial is refused.
  virtual std::unique_ptr<AdbStream> openStream(const std::vector<std::string>& arguments,
                                                const AdbStreamOptions& options,
                                                AdbStreamSink& sink,
                                                ToolCancel* cancel = nullptr) = 0;
};

}  // namespace lumivale
