#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/tablet/adb_stream.h"
#include "core/tablet/spawn.h"

namespace lumivale {

// Starts `adbPath ARGUMENTS...` with exactly `environment` as an AdbStream: a writer
// thread feeds its input, a reader thread cuts its output into records for `sink` and
// keeps the tail of its error output, and a third waits for it to end. Throws AdbError
// when adb cannot be started.
std::unique_ptr<AdbStream> openAdbStream(const std::filesystem::path& adbPath,
                                         const Environment& environment,
                                         const std::vector<std::string>& arguments,
                                         const AdbStreamOptions& options, AdbStreamSink& sink,
                                         ToolCancel* cancel = nullptr);

}  // namespace lumivale
