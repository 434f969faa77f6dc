#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/files/transfer.h"
#include "core/stop_token.h"

namespace lumivale {

// One GET for getting Android's tools: the body goes to `sink` piece by piece, and
// `progress` (when given) hears of every piece against `expectedBytes`. `what` names the
// download in failures ("Android’s tools"). Fails with ToolsError on a time-out (`timeout`,
// cut to `stop`'s deadline), an answer other than 200, a body cut off or larger than
// `maxBytes`, or no answer at all; with Cancelled when `stop` is cancelled; and with
// whatever `sink` throws.
void fetchInto(const std::string& url, const std::string& what,
               const std::function<void(std::string_view)>& sink, std::uint64_t maxBytes,
               std::optional<std::uint64_t> expectedBytes, TransferObserver* progress,
               Seconds timeout, const StopToken* stop);

}  // namespace lumivale
