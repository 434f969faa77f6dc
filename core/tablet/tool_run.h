#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_cancel.h"

namespace lumivale {

// Takes a tool's standard output while it arrives, in pieces cut anywhere.
using OutputChunks = std::function<void(std::string_view)>;

// The result of running one outside tool to its end under a time limit.
struct ToolRun {
  int status = 0;
  std::string stdoutData;
  std::string stderrData;
  bool timedOut = false;
  bool cancelled = false;

  bool operator==(const ToolRun&) const = default;

  std::vector<std::string> stderrLines() const;

  // Exactly PATH and LANG: tools see neither the user's PATH nor language, so
  // their output keeps the form our parsers expect.
  static const Environment& environment();

  // Runs `path` with the fixed environment. Blocks until the child has ended and
  // both streams are read. `timeout` is cut to what is left of `stop`'s deadline, and
  // cancelling `stop` kills the child. Throws Spawn::Failure when it cannot be started.
  static ToolRun run(const std::string& path, const std::vector<std::string>& arguments,
                     Seconds timeout, const StopToken* stop = nullptr);

  // The same with an environment of the caller's (adb runs with the program's own).
  static ToolRun runIn(const Environment& environment, const std::string& path,
                       const std::vector<std::string>& arguments, Seconds timeout,
                       const StopToken* stop = nullptr);

  // runIn, with standard output handed to `onOutput` as it arrives rather than kept
  // (`stdoutData` stays empty). What `onOutput` throws kills the child, which is reaped
  // before the throw goes on.
  static ToolRun streamIn(const Environment& environment, const std::string& path,
                          const std::vector<std::string>& arguments, Seconds timeout,
                          const StopToken* stop, const OutputChunks& onOutput);
};

}  // namespace lumivale
