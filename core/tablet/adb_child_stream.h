#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/tablet/adb_stream.h"
#include "core/tablet/spawn.h"

namespace lumivale {

// Asked on the reader thread when a child ended by itself: true when its tablet is
// gone. adb may end a shell whose tablet went away with status 0 and not a word.
using TabletGoneCheck = std::function<bool()>;

// Starts `adbPath ARGUMENTS...` with exactly `environment` as an AdbStream: a writer
// thread feeds its input, a reader thread cuts its output into records for `sink` and
// keeps the tail of its error output, and a third waits for it to end. Throws AdbError
// when adb cannot be started.
std::unique_ptr<AdbStream> openAdbStream(const std::filesystem::path& adbPath,
                                         const Environment& environment,
                                         const std::vector<std::string>& arguments,
                                         const AdbStreamOptions& options, AdbStreamSink& sink,
                                         const StopToken* stop = nullptr,
                                         TabletGoneCheck tabletGone = {});

}  // namespace lumivale
