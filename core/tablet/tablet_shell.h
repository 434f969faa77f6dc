#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/stop_token.h"

namespace lumivale {

// The output of one tablet shell command and the status its exit marker carried.
struct ShellResult {
  std::string output;
  int status = 0;

  bool operator==(const ShellResult&) const = default;
  const std::string& text() const { return output; }
};

// Reads a command's output while it arrives, keeping back its end, which holds the exit
// marker, until the command is over.
class ShellOutputReader {
 public:
  virtual ~ShellOutputReader() = default;
  // A piece of the output, cut anywhere.
  virtual void add(std::string_view chunk) = 0;
  // The end of the output not taken in yet: where the exit marker is looked for.
  virtual std::string_view rest() const = 0;
};

// How every command line reaches the tablet's shell and how its end is read back.
// `adb shell` does not carry the remote status on every tablet, so each line we send
// prints it after a marker and we read it from the output.
namespace TabletShell {

inline constexpr std::string_view marker = "LUMIVALE-EXIT:";

// One argument as the tablet's shell must see it: bare when made only of ASCII letters,
// digits and "-_./:=+,@", otherwise in single quotes.
std::string quoted(std::string_view argument);
// The arguments quoted and joined with single spaces.
std::string line(const std::vector<std::string>& arguments);

// `line` followed by the printing of its status after the marker.
std::string withMarker(std::string_view line);
// None when the marker is missing: the command did not run to its end.
std::optional<ShellResult> split(std::string_view output);

// The first line with anything on it, without trailing blanks, cut to what a message
// may quote.
std::string firstLine(std::string_view text);

// "{who} did not finish within {n} s", or "{who} did not finish {what} within {n} s".
std::string didNotFinish(std::string_view who, Seconds timeout, std::string_view what = {});
// What a command addressed to the tablet that ran past its deadline says: the tablet
// stopped answering (asleep, a cable pulled half-way, a frozen adbd).
std::string notAnswering();
// "{what} exited {status}", followed by ": {said}" when the tool said anything.
std::string exited(std::string_view what, int status, std::string_view said);

}  // namespace TabletShell
}  // namespace lumivale
