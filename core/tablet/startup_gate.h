#pragma once

#include <filesystem>
#include <string>

#include "core/stop_token.h"
#include "core/tablet/adb_bridge.h"

namespace lumivale::StartupGate {

// How long a tablet that has just appeared is given to finish starting.
inline constexpr Seconds limit{60};

inline constexpr const char* stillStarting =
    "Your Lumivale is still starting. Wait until it shows its home screen, then try again.";

// Waits until the tablet on `serial` says it has finished starting (sys.boot_completed
// reads 1), asking every half second for at most `wait`; then fails with AdbError
// (stillStarting).
void waitUntilStarted(AdbBridge& bridge, const std::string& serial, Seconds wait,
                      const StopToken* stop = nullptr);

// A small file of connections seen started, each as adb numbered it: a connection with a
// new number has just appeared, and is asked again.
bool seenStarted(const std::filesystem::path& memo, const std::string& serial,
                 const std::string& transportId);
void rememberStarted(const std::filesystem::path& memo, const std::string& serial,
                     const std::string& transportId);

}  // namespace lumivale::StartupGate
