#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/files/remote_path.h"

namespace lumivale {

namespace {

constexpr std::string_view exitMarker = "\nLUMIVALE-EXIT:";
// The longest first line a message quotes from the tablet.
constexpr std::size_t quotedLineBytes = 300;

bool isBare(std::string_view argument) {
  static constexpr std::string_view allowed = "-_./:=+,@";
  if (argument.empty()) return false;
  for (char c : argument) {
    const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!alnum && allowed.find(c) == std::string_view::npos) return false;
  }
  return true;
}

std::string quotedForShell(std::string_view argument) {
  if (isBare(argument)) return std::string(argument);
  std::string out = "'";
  for (char c : argument) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

}  // namespace

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

std::string AdbFiles::shellLine(const std::vector<std::string>& arguments) {
  std::string line;
  for (const auto& argument : arguments) {
    if (!line.empty()) line += ' ';
    line += quotedForShell(argument);
  }
  return line;
}

std::optional<ShellResult> AdbFiles::splitExit(std::string_view output) {
  auto at = output.rfind(exitMarker);
  if (at == std::string_view::npos) return std::nullopt;
  auto rest = output.substr(at + exitMarker.size());
  int status = 0;
  std::size_t digits = 0;
  while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9') {
    status = status * 10 + (rest[digits] - '0');
    ++digits;
  }
  if (digits == 0) return std::nullopt;
  return ShellResult{std::string(output.substr(0, at)), status};
}

std::string AdbFiles::firstLine(std::string_view text) {
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    auto line = text.substr(start, end - start);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
      line.remove_suffix(1);
    if (!line.empty()) return std::string(line.substr(0, quotedLineBytes));
    start = end + 1;
  }
  return "";
}

std::string AdbFiles::displayable(std::string_view text) {
  return RemotePath::escapedForDisplay(text);
}

std::vector<std::vector<std::string>> AdbFiles::batches(const std::vector<std::string>& paths,
                                                        std::size_t budget) {
  std::vector<std::vector<std::string>> out;
  std::size_t used = 0;
  for (const auto& path : paths) {
    const std::size_t cost = quotedForShell(path).size() + 1;
    if (out.empty() || (used + cost > budget && !out.back().empty())) {
      out.emplace_back();
      used = 0;
    }
    out.back().push_back(path);
    used += cost;
  }
  return out;
}

ShellResult AdbFiles::exec(const std::vector<std::string>& arguments, Seconds timeout,
                           bool mergeErrors, ToolCancel* cancel) const {
  std::string line = shellLine(arguments);
  if (mergeErrors) line += " 2>&1";
  line += "; printf '\\nLUMIVALE-EXIT:%d\\n' $?";
  const ToolRun run = runner_->run(serial_, {"shell", line}, timeout, cancel);
  if (run.cancelled) throw Cancelled();
  const std::string command = arguments.empty() ? "" : displayable(arguments.front());
  if (run.timedOut)
    throw FilesError::refused(
        fmt::format("the tablet did not finish '{}' within {:.0f} s", command, timeout.count()));
  auto result = splitExit(run.stdoutData);
  if (!result) {
    std::string said = firstLine(run.stderrData);
    throw FilesError::refused(said.empty() || run.status == 0
                                  ? fmt::format("the tablet did not say how '{}' ended", command)
                                  : displayable(said));
  }
  return *result;
}

ShellResult AdbFiles::check(const std::vector<std::string>& arguments, std::string_view doing,
                            Seconds timeout, ToolCancel* cancel) const {
  auto result = exec(arguments, timeout, true, cancel);
  if (result.status != 0)
    throw FilesError::refused(
        fmt::format("could not {}: {}", doing, displayable(firstLine(result.output))));
  return result;
}

}  // namespace lumivale
