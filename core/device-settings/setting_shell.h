#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/adb_runner.h"

namespace lumivale {

// Command lines for the tablet's shell. Several commands can share one line, and so
// one adb round trip; each ends with its own exit marker, so every command's status
// is read from the output even where `adb shell` drops it.
namespace SettingShell {

inline constexpr Seconds commandTimeout{10};

struct Answer {
  std::string output;  // standard output and errors, merged
  int status = 0;
};

// The shell line that runs `commands` in order, each followed by its exit marker.
std::string line(const std::vector<std::string>& commands);

// The answers of a line, one per command; fails with unexpectedOutput when a marker is missing.
std::vector<Answer> answers(std::string_view output, const std::vector<std::string>& commands);

// Runs `commands` in one round trip.
std::vector<Answer> run(AdbRunner& runner, const std::string& serial,
                        const std::vector<std::string>& commands, Seconds timeout = commandTimeout);

// The outputs of answers to `commands`; a non-zero status fails with unexpectedOutput,
// naming what the command printed.
std::vector<std::string> outputs(const std::vector<Answer>& answers,
                                 const std::vector<std::string>& commands);

// Runs `commands` in one round trip and returns their outputs, as `outputs` does.
std::vector<std::string> check(AdbRunner& runner, const std::string& serial,
                               const std::vector<std::string>& commands,
                               Seconds timeout = commandTimeout);

}  // namespace SettingShell
}  // namespace lumivale
