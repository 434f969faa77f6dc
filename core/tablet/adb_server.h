#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/stop_token.h"
#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"

namespace lumivale::AdbServer {

// The loopback port on which the adb of `environment` reaches its server, or none
// when the environment sends adb elsewhere (another host, a local socket) or names a
// port adb itself would reject: such set-ups are left to adb.
std::optional<std::uint16_t> loopbackPort(const Environment& environment);

// One host request (such as "host:version") sent to the server on `port` the way the
// adb client sends it, and the server's answer; none when nothing listens there, the
// server refuses, it has not answered in full within `timeout`, or `stop` was cancelled.
std::optional<std::string> ask(std::uint16_t port, std::string_view request, Seconds timeout,
                               const StopToken* stop = nullptr);

// What `adb devices -l` would list, asked of the running server directly: the same
// answer without starting a second program. None unless the server is up and speaks
// the protocol of the adb that answered `adb version` with `adbVersion` ("1.0.41"),
// because that adb would first restart a server of any other version.
std::optional<std::string> devicesListing(const Environment& environment,
                                          std::string_view adbVersion, Seconds timeout,
                                          const StopToken* stop = nullptr);

// `adb -s SERIAL shell COMMAND` done as adb's client does it, through the running
// server without starting a second program: the same output, error output, status,
// deadline and cancel, standard output handed to `onOutput` as it arrives. None when
// the command was not started on the tablet (no server, one of another version than
// `adbVersion`, a serial it refuses, a tablet without the shell protocol): adb itself
// can then run it, and say what is wrong in its own words.
std::optional<ToolRun> shell(const Environment& environment, std::string_view adbVersion,
                             const std::string& serial, const std::string& command, Seconds timeout,
                             const StopToken* stop, const OutputChunks& onOutput);

}  // namespace lumivale::AdbServer
