#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/screen_state.h"
#include "core/files/leftover_plan.h"
#include "core/tablet/adb_device.h"

namespace lumivale::cli {

// The JSON that commands print share these shapes: every key always present (null when
// unknown), one type per key, names as the tablet gives them.

nlohmann::json optionalJson(const std::optional<std::string>& value);

// {"path": text, "bytes": number}: `files free` and `files du`.
nlohmann::json amountJson(const std::string& path, std::uint64_t bytes);

// {"serial", "state", "model", "transport"}: transport is "cable" or "wifi", as the text
// says; the model as the tablet names itself, not in adb's spelling.
nlohmann::json connectionJson(const AdbDevice& connection);

// {"awake": bool|null, "locked": bool|null}; all null when the screen was not read.
nlohmann::json screenJson(const std::optional<ScreenState>& screen);

// [{"kind", "path", "belongsTo": text|null, "about"}]: `files leftovers`.
nlohmann::json leftoversJson(const std::vector<LeftoverItem>& items);

}  // namespace lumivale::cli
