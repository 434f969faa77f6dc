#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumivale::ShellExit {

// `adb shell` does not carry the remote status on every tablet, so each line we
// send prints it after a marker and we read it back from the output.
inline constexpr std::string_view marker = "LUMIVALE-EXIT:";

std::string withMarker(std::string_view line);

struct Split {
  int status = 0;
  std::string output;  // the text before the marker
  bool operator==(const Split&) const = default;
};

// None when the marker is missing: the command did not run to its end.
std::optional<Split> split(std::string_view output);

}  // namespace lumivale::ShellExit
