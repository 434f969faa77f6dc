#pragma once

#include <string>

#include "standin/adb_stream.h"
#include "standin/app_process_host.h"

namespace lumivale::standin {

// How a shell stream frames its data.
enum class ShellProtocol {
  v2,   // packets with stdin, stdout, stderr, exit status and close-stdin
  raw,  // plain bytes, stderr merged into stdout, no exit status
};

struct ShellRequest {
  std::string command;  // empty: an interactive shell
  ShellProtocol protocol = ShellProtocol::v2;
  bool terminal = false;  // run on a pseudo-terminal (adb's "pty" option)
};

// Runs the command in the tablet root (an app_process line on the host JVM) and carries
// its streams over `stream` until the command ends or the host closes the stream (which
// kills it).
void runShell(AdbStream& stream, const std::string& root, const ShellRequest& request,
              const AppProcessHost& appProcess);

}  // namespace lumivale::standin
