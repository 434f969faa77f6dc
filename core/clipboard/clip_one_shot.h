#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/tablet/adb_runner.h"

namespace lumivale {

// What the helper is installed and run through: the bridge, or fakes in tests.
struct ClipRunners {
  AdbRunner& shell;
  AdbFileRunner& files;
  AdbStreamRunner& streams;
};

// One request to the tablet's clipboard, the helper run just for it.
namespace ClipOneShot {

// The tablet's clipboard text; none when it is empty. Throws ClipError "the tablet’s
// clipboard was not read: {reason}", AdbError when adb fails, Cancelled.
std::optional<std::string> get(ClipRunners runners, const std::string& serial,
                               const StopToken* stop = nullptr);

// Makes `text` the tablet's clipboard. Throws ClipError "text is larger than 256 KB" before
// anything runs, "the tablet’s clipboard was not set: {reason}", AdbError, Cancelled.
void set(ClipRunners runners, const std::string& serial, std::string_view text,
         const StopToken* stop = nullptr);

}  // namespace ClipOneShot
}  // namespace lumivale
