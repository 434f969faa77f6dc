#include "core/clipboard/clipboard_history_json.h"

#include <charconv>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace lumivale::ClipboardHistoryJson {
namespace {

using nlohmann::json;
using namespace std::chrono;

constexpr int version = 1;

// The digits of `text` from `at` on, `count` of them exactly.
std::optional<int> digits(std::string_view text, std::size_t at, std::size_t count) {
  if (at + count > text.size()) return std::nullopt;
  int value = 0;
  auto [end, error] = std::from_chars(text.data() + at, text.data() + at + count, value);
  if (error != std::errc() || end != text.data() + at + count || text[at] == '-' || text[at] == '+')
    return std::nullopt;
  return value;
}

const json& field(const json& item, std::size_t index, const char* key, json::value_t type) {
  auto value = item.find(key);
  if (value == item.end() || value->type() != type)
    throw DecodeFailure(fmt::format("item {} has no \"{}\" of the right kind", index + 1, key));
  return *value;
}

ClipboardHistory::Item decodeItem(const json& item, std::size_t index) {
  if (!item.is_object()) throw DecodeFailure(fmt::format("item {} is not an object", index + 1));
  const auto& origin = field(item, index, "origin", json::value_t::string);
  auto parsedOrigin = ClipboardHistory::originFromRaw(origin.get<std::string>());
  if (!parsedOrigin)
    throw DecodeFailure(
        fmt::format("item {} has the unknown origin \"{}\"", index + 1, origin.get<std::string>()));
  auto at = parseTime(field(item, index, "at", json::value_t::string).get<std::string>());
  if (!at) throw DecodeFailure(fmt::format("item {} has a time that is not one", index + 1));
  return {field(item, index, "id", json::value_t::string).get<std::string>(),
          field(item, index, "text", json::value_t::string).get<std::string>(), *parsedOrigin, *at};
}

}  // namespace

std::string encode(const ClipboardHistory& history) {
  json items = json::array();
  for (const auto& item : history.items())
    items.push_back({{"id", item.id},
                     {"text", item.text},
                     {"origin", ClipboardHistory::rawValue(item.origin)},
                     {"at", formatTime(item.at)}});
  // A byte that is not UTF-8 is saved as U+FFFD rather than failing the whole save.
  return json{{"version", version}, {"items", std::move(items)}}.dump(
             -1, ' ', false, json::error_handler_t::replace) +
         "\n";
}

std::vector<ClipboardHistory::Item> decode(std::string_view text) {
  json document;
  try {
    document = json::parse(text);
  } catch (const json::parse_error& error) {
    // The library's own tag ("[json.exception.parse_error.101] ") says nothing to a person,
    // and what it last read may be a piece of a copied text, which no message carries.
    std::string reason = error.what();
    if (auto tag = reason.find("] "); tag != std::string::npos) reason.erase(0, tag + 2);
    if (auto read = reason.find("; last read:"); read != std::string::npos) reason.erase(read);
    throw DecodeFailure(reason);
  }
  if (!document.is_object()) throw DecodeFailure("it is not a JSON object");
  auto saved = document.find("version");
  if (saved == document.end() || !saved->is_number_integer())
    throw DecodeFailure("it has no \"version\"");
  if (saved->get<long long>() > version)
    throw DecodeFailure(fmt::format("it was written by a later version of this app (version {})",
                                    saved->get<long long>()));
  auto items = document.find("items");
  if (items == document.end() || !items->is_array())
    throw DecodeFailure("it has no \"items\" list");
  std::vector<ClipboardHistory::Item> decoded;
  for (std::size_t index = 0; index < items->size(); ++index)
    decoded.push_back(decodeItem((*items)[index], index));
  return decoded;
}

std::string formatTime(ClipboardHistory::Time at) {
  auto whole = floor<seconds>(at);
  auto millis = duration_cast<milliseconds>(at - whole).count();
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", whole, millis);
}

std::optional<ClipboardHistory::Time> parseTime(std::string_view text) {
  // YYYY-MM-DDTHH:MM:SS, an optional fraction of up to 9 digits, and Z.
  if (text.size() < 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':' || text.back() != 'Z')
    return std::nullopt;
  auto y = digits(text, 0, 4), mo = digits(text, 5, 2), d = digits(text, 8, 2);
  auto h = digits(text, 11, 2), mi = digits(text, 14, 2), s = digits(text, 17, 2);
  if (!y || !mo || !d || !h || !mi || !s || *h > 23 || *mi > 59 || *s > 59) return std::nullopt;
  year_month_day date{year(*y), month(static_cast<unsigned>(*mo)), day(static_cast<unsigned>(*d))};
  if (!date.ok()) return std::nullopt;
  nanoseconds fraction{0};
  std::string_view rest = text.substr(19, text.size() - 20);
  if (!rest.empty()) {
    if (rest[0] != '.' || rest.size() < 2 || rest.size() > 10) return std::nullopt;
    auto value = digits(rest, 1, rest.size() - 1);
    if (!value) return std::nullopt;
    long long scaled = *value;
    for (auto n = rest.size() - 1; n < 9; ++n)
      scaled *= 10;
    fraction = nanoseconds(scaled);
  }
  auto at = sys_days(date) + hours(*h) + minutes(*mi) + seconds(*s) + fraction;
  return time_point_cast<system_clock::duration>(at);
}

}  // namespace lumivale::ClipboardHistoryJson
