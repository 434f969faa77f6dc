#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "standin/adb_stream.h"
#include "standin/root_fs.h"

namespace lumivale::standin {

// What a sync stream needs besides the stream itself.
struct SyncContext {
  const RootFs& files;
  // Cuts the connection after this many bytes of file data, when set.
  std::optional<uint64_t> dropAfterBytes;
  std::function<void()> dropConnection;
};

// Serves adb's file sync requests (STAT, LIST, SEND, RECV, QUIT) until QUIT or
// until the stream closes.
void runSync(AdbStream& stream, const SyncContext& context);

}  // namespace lumivale::standin
