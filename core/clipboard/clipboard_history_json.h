#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/clipboard/clipboard_history.h"

namespace lumivale::ClipboardHistoryJson {

// The saved form: {"version": 1, "items": [{"id", "text", "origin", "at"}]}, newest first,
// "origin" the raw value and "at" a UTC time to the millisecond ("2026-03-04T05:06:07.089Z").
std::string encode(const ClipboardHistory& history);

// Why a saved list could not be decoded, as a reason that reads after "could not be read: ".
class DecodeFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The items as saved. Throws DecodeFailure.
std::vector<ClipboardHistory::Item> decode(std::string_view text);

std::string formatTime(ClipboardHistory::Time at);
std::optional<ClipboardHistory::Time> parseTime(std::string_view text);

}  // namespace lumivale::ClipboardHistoryJson
