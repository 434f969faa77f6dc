#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "core/tablet/unique_fd.h"

namespace lumivale::standin {

// Where a command's standard streams go.
enum class StandardStreams {
  separate,  // a pipe each for input, output and errors
  merged,    // errors go to the output pipe
  terminal,  // one pseudo-terminal for all three, as for an interactive shell
};

// What a process runs: its arguments and environment, chrooted into `root` unless empty.
struct Launch {
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::string root;
};

// A command run by the tablet's shell inside the tablet root, as root, in a
// process group of its own so that closing its stream ends all it started.
class RootedProcess {
 public:
  // Runs `/system/bin/sh -c command` chrooted into `root`; an empty command
  // runs the shell on its standard input (interactive on a terminal).
  RootedProcess(const std::string& root, const std::string& command, StandardStreams streams);
  // Runs what `launch` says: a host program that plays a tablet one (app_process).
  RootedProcess(Launch launch, StandardStreams streams);
  RootedProcess(const RootedProcess&) = delete;
  RootedProcess& operator=(const RootedProcess&) = delete;
  // Kills and reaps a process that was not waited for.
  ~RootedProcess();

  UniqueFd& input() { return input_; }
  UniqueFd& output() { return output_; }
  UniqueFd& errors() { return errors_; }

  // Tells a command on a terminal its new size.
  void resizeTerminal(unsigned short rows, unsigned short columns);
  void kill();
  // Waits for the shell to end: its exit code, or 128 + signal.
  int wait();

 private:
  pid_t pid_ = -1;
  bool reaped_ = false;
  UniqueFd input_;
  UniqueFd output_;
  UniqueFd errors_;
  UniqueFd terminal_;
};

// Fails with a clear message unless this process may chroot into `root`.
void checkCanChroot(const std::string& root);

}  // namespace lumivale::standin
