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
  // standard output. Throws AdbError when adb fails or the timeout (cut to what is left
  // of `stop`'s deadline) passes, Cancelled when `stop` is cancelled.
  virtual std::string shell(const std::string& serial, const std::string& command, Seconds timeout,
                            const StopToken* stop = nullptr) = 0;
};

// Runs every command of `runner` under one stop token, so code written against an
// AdbRunner (the setting operations) stops as a whole when the token is cancelled.
class StoppedAdbRunner : public AdbRunner {
 public:
  StoppedAdbRunner(AdbRunner& runner, StopToken stop) : runner_(runner), stop_(std::move(stop)) {}
  // A token passed here is ignored: this runner's own one stops the command.
  std::string shell(const std::string& serial, const std::string& command, Seconds timeout,
                    const StopToken* = nullptr) override {
    return runner_.shell(serial, command, timeout, &stop_);
  }

 private:
  AdbRunner& runner_;
  StopToken stop_;
};

// Runs plain adb argument lists (`adb -s SERIAL ARGS...`) for file work. A time-out,
// a cancel or a non-zero status is reported in the result, not thrown; the timeout is
// cut to what is left of `stop`'s deadline.
class AdbFileRunner {
 public:
  virtual ~AdbFileRunner() = default;
  virtual ToolRun run(const std::string& serial, const std::vector<std::string>& arguments,
                      Seconds timeout, const StopToken* stop = nullptr) = 0;
  // run, with standard output handed to `onOutput` as it arrives (see ToolRun::streamIn).
  // A runner that cannot stream hands it over whole at the end.
  virtual ToolRun stream(const std::string& serial, const std::vector<std::string>& arguments,
                         Seconds timeout, const StopToken* stop, const OutputChunks& onOutput) {
    ToolRun whole = run(serial, arguments, timeout, stop);
    onOutput(whole.stdoutData);
    whole.stdoutData.clear();
    return whole;
  }
};

// Starts long-lived adb children, so that code using them runs against a scripted
// stream in unit tests. The bridge is the real one.
class AdbStreamRunner {
 public:
  virtual ~AdbStreamRunner() = default;
  // Starts `adb ARGUMENTS...` (`-s SERIAL shell -T ...`, `track-devices`, ...). `sink`
  // must outlive the stream; a cancel of `stop` kills the child. Throws AdbError
  // when adb cannot be started or the serial is refused.
  virtual std::unique_ptr<AdbStream> openStream(const std::vector<std::string>& arguments,
                                                const AdbStreamOptions& options,
                                                AdbStreamSink& sink,
                                                const StopToken* stop = nullptr) = 0;
};

}  // namespace lumivale
