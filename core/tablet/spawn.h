#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/tablet/unique_fd.h"

namespace lumivale {

using Environment = std::map<std::string, std::string>;

// Starts child processes with exactly the descriptors and signal state we choose:
// nothing the program has open leaks into a tool, and a kill never reaches a
// process id the system has already recycled.
namespace Spawn {

// A tool that could not be started.
class Failure : public Error {
 public:
  Failure(std::string path, int code);
  const std::string& path() const { return path_; }
  int code() const { return code_; }

 private:
  std::string path_;
  int code_;
};

class Child {
 public:
  Child(pid_t pid, std::optional<UniqueFd> stdoutPipe, std::optional<UniqueFd> stderrPipe,
        std::optional<UniqueFd> stdinPipe = std::nullopt);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  pid_t pid() const { return pid_; }
  // Read ends of the captured streams; empty when a stream was not captured.
  std::optional<UniqueFd>& stdoutPipe() { return stdoutPipe_; }
  std::optional<UniqueFd>& stderrPipe() { return stderrPipe_; }
  // Write end of the child's standard input; empty unless launched with input.
  std::optional<UniqueFd>& stdinPipe() { return stdinPipe_; }

  // Waits for the child to end: exit code, or 128 + signal when a signal ended it.
  int wait();
  // Waits, without reaping, for the child to end by `deadline`; true when it has.
  bool endsBy(std::chrono::steady_clock::time_point deadline);
  // Sends `signal` unless the child has already exited; true when it was sent.
  bool signalIfRunning(int signal);

 private:
  pid_t pid_;
  std::optional<UniqueFd> stdoutPipe_;
  std::optional<UniqueFd> stderrPipe_;
  std::optional<UniqueFd> stdinPipe_;
  std::mutex lock_;
  bool finished_ = false;  // guarded by lock_; set between exit and reaping
  bool reaped_ = false;
};

// Starts `path` with argv = path + arguments and exactly `environment`. Standard
// input is /dev/null; an uncaptured output stream goes to /dev/null.
std::shared_ptr<Child> launch(const std::string& path, const std::vector<std::string>& arguments,
                              const Environment& environment, bool captureOutput,
                              bool captureErrors);

// The same, but standard input is a pipe whose write end is the child's stdinPipe(),
// for a long-lived child that is talked to.
std::shared_ptr<Child> launchWithInput(const std::string& path,
                                       const std::vector<std::string>& arguments,
                                       const Environment& environment, bool captureOutput,
                                       bool captureErrors);

}  // namespace Spawn
}  // namespace lumivale
