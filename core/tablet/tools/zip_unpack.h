#pragma once

#include <filesystem>

#include "core/stop_token.h"

namespace lumivale {

// Unpacks the zip archive `archive` into the empty folder `into`, keeping each file's
// permission bits. Refuses (ToolsError) an entry that would land outside `into`, and
// throws Cancelled when `stop` is cancelled meanwhile; either way what was unpacked is
// left for the caller, who owns `into`, to remove.
void unpackZip(const std::filesystem::path& archive, const std::filesystem::path& into,
               const StopToken* stop = nullptr);

}  // namespace lumivale
