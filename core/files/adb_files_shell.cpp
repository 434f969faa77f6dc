#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/files/adb_files.h"
#include "core/files/remote_path.h"

namespace lumivale {

AdbFiles::AdbFiles(AdbFileRunner& runner, std::string serial, TransferLimits limits,
                   std::shared_ptr<ListingFormatCache> caches)
    : runner_(&runner), serial_(std::move(serial)), limits_(limits), caches_(std::move(caches)) {
  // The serial goes to adb as one argument; it must name exactly one tablet.
  if (serial_.empty() || serial_.find_first_of(" \t\r\n") != std::string::npos ||
      serial_.front() == '-')
    throw FilesError::refused(
        fmt::format("refusing file work on the tablet '{}': not an adb serial",
                    RemotePath::escapedForDisplay(serial_)));
}

AdbFiles AdbFiles::stoppedBy(StopToken stop) const {
  AdbFiles copy = *this;
  copy.stop_ = std::move(stop);
  return copy;
}

std::string AdbFiles::displayable(std::string_view text) {
  return RemotePath::escapedForDisplay(text);
}

std::vector<std::vector<std::string>> AdbFiles::batches(const std::vector<std::string>& paths,
                                                        std::size_t budget) {
  std::vector<std::vector<std::string>> out;
  std::size_t used = 0;
  for (const auto& path : paths) {
    const std::size_t cost = TabletShell::quoted(path).size() + 1;
    if (out.empty() || (used + cost > budget && !out.back().empty())) {
      out.emplace_back();
      used = 0;
    }
    out.back().push_back(path);
    used += cost;
  }
  return out;
}

ToolRun AdbFiles::runShell(const std::vector<std::string>& arguments, Seconds timeout,
                           bool mergeErrors, const OutputChunks* onOutput) const {
  std::string line = TabletShell::line(arguments);
  if (mergeErrors) line += " 2>&1";
  stop_.throwIfCancelled();
  timeout = stop_.budget(timeout);
  std::vector<std::string> shell{"shell", TabletShell::withMarker(line)};
  return onOutput ? runner_->stream(serial_, shell, timeout, &stop_, *onOutput)
                  : runner_->run(serial_, shell, timeout, &stop_);
}

ShellResult AdbFiles::ended(const std::vector<std::string>& arguments, const ToolRun& run,
                            std::string_view output) const {
  auto result = TabletShell::split(output);
  // A run cut short while the token is cancelled ended because of the cancel, whatever it
  // printed: the same Ctrl-C may have stopped adb before it reached the token.
  if (run.cancelled || ((run.timedOut || !result) && stop_.isCancelled())) throw Cancelled();
  const std::string command = arguments.empty() ? "" : displayable(arguments.front());
  if (run.timedOut) throw FilesError::refused(TabletShell::notAnswering());
  if (!result) {
    std::string said = TabletShell::firstLine(run.stderrData);
    throw FilesError::refused(said.empty() || run.status == 0
                                  ? fmt::format("the tablet did not say how '{}' ended", command)
                                  : displayable(said));
  }
  return *result;
}

ShellResult AdbFiles::exec(const std::vector<std::string>& arguments, Seconds timeout,
                           bool mergeErrors) const {
  const ToolRun run = runShell(arguments, timeout, mergeErrors, nullptr);
  return ended(arguments, run, run.stdoutData);
}

ShellResult AdbFiles::execReading(const std::vector<std::string>& arguments, Seconds timeout,
                                  ShellOutputReader& reader) const {
  const OutputChunks onOutput = [&reader](std::string_view chunk) { reader.add(chunk); };
  const ToolRun run = runShell(arguments, timeout, false, &onOutput);
  return ended(arguments, run, reader.rest());
}

ShellResult AdbFiles::check(const std::vector<std::string>& arguments, std::string_view doing,
                            Seconds timeout) const {
  auto result = exec(arguments, timeout, true);
  if (result.status != 0)
    throw FilesError::refused(
        fmt::format("could not {}: {}", doing, displayable(TabletShell::firstLine(result.output))));
  return result;
}

}  // namespace lumivale
