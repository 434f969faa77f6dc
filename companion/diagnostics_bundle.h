#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/stop_token.h"
#include "core/upkeep/tar_gz_file.h"

namespace lumivale::companion {

// The name a bundle gets when none is given: "lumivale-diagnostics-20261122-180405.tar.gz".
std::string defaultDiagnosticsName();

// What a support request needs to know about this machine, each a file of the bundle:
// program and OS versions, the adb in use and its candidates, `adb devices -l`, the
// chosen tablet's facts, the settings file with the account fields and Wi-Fi checks
// masked, and the end of the log. A piece that cannot be had says why in its place.
// Every byte is scrubbed of secrets, among them this machine's own session token,
// account and clipboard history texts, which is itself never read into the bundle.
std::vector<ArchiveMember> gatherDiagnostics(const std::optional<std::string>& pinnedSerial,
                                             StopToken command = {});

// Gathers and writes the bundle to `file`; refuses to replace an existing file.
void writeDiagnostics(const std::filesystem::path& file,
                      const std::optional<std::string>& pinnedSerial, StopToken command = {});

}  // namespace lumivale::companion
