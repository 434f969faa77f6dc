#pragma once

#include <sys/types.h>

#include <string>

#include "core/tablet/unique_fd.h"

namespace lumivale::standin {

// A command run by the tablet's shell inside the tablet root, as root, in a
// process group of its own so that closing its stream ends all it started.
class RootedProcess {
 public:
  // Runs `/system/bin/sh -c command` chrooted into `root`. With `mergeErrors`,
  // standard error goes to the standard output pipe.
  RootedProcess(const std::string& root, const std::string& command, bool mergeErrors);
  RootedProcess(const RootedProcess&) = delete;
  RootedProcess& operator=(const RootedProcess&) = delete;
  // Kills and reaps a process that was not waited for.
  ~RootedProcess();

  UniqueFd& input() { return input_; }
  UniqueFd& output() { return output_; }
  UniqueFd& errors() { return errors_; }

  void kill();
  // Waits for the shell to end: its exit code, or 128 + signal.
  int wait();

 private:
  pid_t pid_ = -1;
  bool reaped_ = false;
  UniqueFd input_;
  UniqueFd output_;
  UniqueFd errors_;
};

// Fails with a clear message unless this process may chroot into `root`.
void checkCanChroot(const std::string& root);

}  // namespace lumivale::standin
