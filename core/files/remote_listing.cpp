#include "core/files/remote_listing.h"

#include <array>

#include "core/checked_number.h"
#include "core/files/utf8.h"

namespace lumivale::RemoteListing {

namespace {

using namespace std::chrono;

std::optional<std::int64_t> integer(std::string_view text, int base = 10) {
  return CheckedNumber::parse<std::int64_t>(text, base);
}

// Seconds since 1970 with an optional fraction ("1700000000.123456789").
std::optional<Timestamp> fromSeconds(std::string_view text) {
  auto dot = text.find('.');
  auto whole = integer(text.substr(0, dot));
  if (!whole) return std::nullopt;
  nanoseconds fraction{};
  if (dot != std::string_view::npos) {
    auto digits = text.substr(dot + 1, 9);
    auto nanos = CheckedNumber::parse<std::uint32_t>(digits);
    if (!nanos) return std::nullopt;
    for (auto shown = digits.size(); shown < 9; ++shown)
      *nanos *= 10;
    fraction = nanoseconds(*nanos);
  }
  return CheckedNumber::clockTime(sys_seconds(seconds(*whole)), fraction);
}

// Splits `text` into `count` - 1 fields at "|" and keeps the rest whole (a name may hold "|").
std::optional<std::vector<std::string_view>> leadingFields(std::string_view text,
                                                           std::size_t count) {
  std::vector<std::string_view> fields;
  while (fields.size() + 1 < count) {
    auto bar = text.find('|');
    if (bar == std::string_view::npos) return std::nullopt;
    fields.push_back(text.substr(0, bar));
    text.remove_prefix(bar + 1);
  }
  fields.push_back(text);
  return fields;
}

// The lines of a tablet's text output, without their line ends (LF or CRLF).
std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    auto line = text.substr(start, end - start);
    if (line.ends_with('\r')) line.remove_suffix(1);
    out.push_back(line);
    start = end + 1;
  }
  return out;
}

std::string withSlash(std::string_view folder) {
  std::string prefix(folder);
  if (prefix.empty() || prefix.back() != '/') prefix += '/';
  return prefix;
}

RemoteEntry::Kind kindOfModeString(std::string_view mode) {
  if (mode.empty()) return RemoteEntry::Kind::other;
  switch (mode.front()) {
    case 'd':
      return RemoteEntry::Kind::directory;
    case '-':
      return RemoteEntry::Kind::file;
    case 'l':
      return RemoteEntry::Kind::symlink;
    default:
      return RemoteEntry::Kind::other;
  }
}

struct Token {
  std::string_view text;
  std::size_t end;  // offset just past the token in its line
};

std::vector<Token> tokens(std::string_view line) {
  std::vector<Token> out;
  std::size_t at = 0;
  while (at < line.size()) {
    while (at < line.size() && line[at] == ' ')
      ++at;
    if (at >= line.size()) break;
    auto end = line.find(' ', at);
    if (end == std::string_view::npos) end = line.size();
    out.push_back({line.substr(at, end - at), end});
    at = end;
  }
  return out;
}

std::optional<unsigned> digits(std::string_view text) {
  return CheckedNumber::parse<unsigned>(text);
}

std::optional<year_month_day> isoDate(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  auto y = digits(text.substr(0, 4)), m = digits(text.substr(5, 2)), d = digits(text.substr(8, 2));
  if (!y || !m || !d) return std::nullopt;
  year_month_day date{year(static_cast<int>(*y)), month(*m), day(*d)};
  return date.ok() ? std::optional(date) : std::nullopt;
}

std::optional<seconds> clockTime(std::string_view text) {
  if (text.size() < 5 || text[2] != ':') return std::nullopt;
  auto h = digits(text.substr(0, 2)), m = digits(text.substr(3, 2));
  if (!h || !m || *h > 23 || *m > 59) return std::nullopt;
  return hours(*h) + minutes(*m);
}

std::optional<unsigned> monthNumber(std::string_view text) {
  static constexpr std::array<std::string_view, 12> names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (unsigned i = 0; i < names.size(); ++i) {
    if (text == names[i]) return i + 1;
  }
  return std::nullopt;
}

std::optional<day> dayOfMonth(std::string_view text) {
  auto number = digits(text);
  if (!number || *number < 1 || *number > 31) return std::nullopt;
  return day(*number);
}

struct LsDate {
  std::size_t sizeToken;              // index of the size column
  std::size_t lastToken;              // index of the last date token; the name follows it
  std::optional<Timestamp> modified;  // absent when the clock cannot hold it
};

// Finds the date columns of an `ls -l` row: "2026-11-21 09:00" (toybox) or
// "Nov 21 09:00" / "Nov 21  2025" (older tools, local time, year left out when recent).
std::optional<LsDate> lsDate(const std::vector<Token>& row, Timestamp now, seconds utcOffset) {
  for (std::size_t i = 3; i + 1 < row.size(); ++i) {
    if (auto date = isoDate(row[i].text)) {
      auto time = clockTime(row[i + 1].text);
      if (!time) continue;
      return LsDate{i - 1, i + 1, CheckedNumber::clockTime(sys_days(*date) + *time - utcOffset)};
    }
    auto month = monthNumber(row[i].text);
    auto dayNumber = i + 2 < row.size() ? dayOfMonth(row[i + 1].text) : std::nullopt;
    if (!month || !dayNumber) continue;
    const auto& last = row[i + 2].text;
    if (auto time = clockTime(last)) {
      auto localNow = floor<days>(now + utcOffset);
      auto thisYear = year_month_day(localNow).year();
      auto at = [&](class year y) {
        return CheckedNumber::clockTime(
            sys_days(year_month_day{y, std::chrono::month(*month), *dayNumber}) + *time -
            utcOffset);
      };
      auto modified = at(thisYear);
      // A date "in the future" by more than a day belongs to last year.
      if (modified && *modified > now + days(1)) modified = at(thisYear - years(1));
      return LsDate{i - 1, i + 2, modified};
    }
    if (auto yearNumber = digits(last); yearNumber && last.size() == 4) {
      year_month_day date{year(static_cast<int>(*yearNumber)), std::chrono::month(*month),
                          *dayNumber};
      return LsDate{i - 1, i + 2, CheckedNumber::clockTime(sys_days(date) - utcOffset)};
    }
  }
  return std::nullopt;
}

}  // namespace

std::string_view rawValue(Format value) {
  switch (value) {
    case Format::findPrintf:
      return "findPrintf";
    case Format::findStat:
      return "findStat";
    case Format::ls:
      return "ls";
  }
  return "ls";
}

std::optional<Format> format(std::string_view raw) {
  for (auto each : allFormats) {
    if (rawValue(each) == raw) return each;
  }
  return std::nullopt;
}

std::vector<std::string_view> nulRecords(std::string_view data) {
  std::vector<std::string_view> records;
  std::size_t start = 0;
  while (start < data.size()) {
    auto end = data.find('\0', start);
    if (end == std::string_view::npos) end = data.size();
    if (end > start) records.push_back(data.substr(start, end - start));
    start = end + 1;
  }
  return records;
}

std::optional<ChildName> directChild(std::string_view prefix, std::string_view record) {
  if (!record.starts_with(prefix)) return std::nullopt;
  auto rest = record.substr(prefix.size());
  if (rest.empty() || rest == "." || rest == ".." || rest.find('/') != std::string_view::npos)
    return std::nullopt;
  return ChildName{std::string(rest), utf8::isValid(rest)};
}

bool statable(std::string_view name) {
  return !name.empty() && name.find_first_of("\n\r") == std::string_view::npos;
}

RemoteEntry::Kind kindOfRawMode(std::string_view hexMode) {
  auto mode = integer(hexMode, 16);
  if (!mode) return RemoteEntry::Kind::other;
  switch (*mode & 0170000) {
    case 0040000:
      return RemoteEntry::Kind::directory;
    case 0100000:
      return RemoteEntry::Kind::file;
    case 0120000:
      return RemoteEntry::Kind::symlink;
    default:
      return RemoteEntry::Kind::other;
  }
}

std::vector<RemoteEntry> parseFindPrintf(std::string_view data, std::string_view directory,
                                         std::string_view shownAs) {
  FindPrintfReader reader(directory, shownAs, false);
  reader.add(data);
  const std::string last(reader.rest());
  return std::move(reader).finish(last).entries;
}

FindPrintfReader::FindPrintfReader(std::string_view directory, std::string_view shownAs,
                                   bool withNameKeys)
    : prefix_(withSlash(directory)),
      shownPrefix_(withSlash(shownAs)),
      withNameKeys_(withNameKeys) {}

void FindPrintfReader::add(std::string_view chunk) {
  const auto lastEnd = chunk.rfind('\0');
  if (lastEnd == std::string_view::npos) {
    pending_.append(chunk);
    return;
  }
  closedARecord_ = true;
  std::size_t from = 0;
  if (!pending_.empty()) {
    const auto end = chunk.find('\0');
    pending_.append(chunk.substr(0, end));
    read(pending_);
    pending_.clear();
    from = end + 1;
  }
  while (from <= lastEnd) {
    const auto end = chunk.find('\0', from);
    read(chunk.substr(from, end - from));
    from = end + 1;
  }
  pending_.assign(chunk.substr(lastEnd + 1));
}

KeyedEntries FindPrintfReader::finish(std::string_view lastRecord) && {
  read(lastRecord);
  return std::move(read_);
}

void FindPrintfReader::read(std::string_view record) {
  // Mode, size and time, then the path, which may itself hold "|".
  std::array<std::string_view, 3> fields;
  for (auto& field : fields) {
    const auto bar = record.find('|');
    if (bar == std::string_view::npos) return;
    field = record.substr(0, bar);
    record.remove_prefix(bar + 1);
  }
  auto child = directChild(prefix_, record);
  auto size = integer(fields[1]);
  if (!child || !size) return;
  std::string path;
  path.reserve(shownPrefix_.size() + child->name.size());
  path.append(shownPrefix_).append(child->name);
  if (withNameKeys_) {
    if (!collator_) collator_.emplace(NameCollator::forUser());
    read_.nameKeys.addWith([&](std::string& out) { collator_->appendSortKey(out, child->name); });
  }
  read_.entries.push_back({std::move(child->name), std::move(path), kindOfModeString(fields[0]),
                           *size, fromSeconds(fields[2]), false, child->exact});
}

std::vector<ChildName> parseNames(std::string_view data, std::string_view directory) {
  const std::string prefix = withSlash(directory);
  std::vector<ChildName> names;
  for (auto record : nulRecords(data)) {
    if (auto child = directChild(prefix, record)) names.push_back(std::move(*child));
  }
  return names;
}

std::map<std::string, StatInfo> parseStatLines(std::string_view text) {
  std::map<std::string, StatInfo> found;
  for (auto line : lines(text)) {
    auto fields = leadingFields(line, 4);
    if (!fields) continue;
    auto size = integer((*fields)[1]);
    auto seconds = integer((*fields)[2]);
    auto path = (*fields)[3];
    auto slash = path.rfind('/');
    auto name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (!size || !seconds || name.empty()) continue;
    found[std::string(name)] = {
        kindOfRawMode((*fields)[0]), *size,
        CheckedNumber::clockTime(sys_seconds(std::chrono::seconds(*seconds)))};
  }
  return found;
}

std::vector<RemoteEntry> joinNamesAndStat(const std::map<std::string, StatInfo>& stat,
                                          const std::vector<ChildName>& names,
                                          std::string_view shownAs) {
  const std::string shownPrefix = withSlash(shownAs);
  std::vector<RemoteEntry> entries;
  for (const auto& child : names) {
    auto found = stat.find(child.name);
    if (found == stat.end()) continue;
    entries.push_back({child.name, shownPrefix + child.name, found->second.kind, found->second.size,
                       found->second.modified, false, child.exact});
  }
  return entries;
}

std::vector<RemoteEntry> parseLs(std::string_view text, std::string_view shownAs, Timestamp now,
                                 seconds utcOffset) {
  static constexpr std::string_view entryTypes = "-dlcbps";
  static constexpr std::string_view arrow = " -> ";
  const std::string shownPrefix = withSlash(shownAs);
  std::vector<RemoteEntry> entries;
  for (auto line : lines(text)) {
    if (line.empty() || entryTypes.find(line.front()) == std::string_view::npos) continue;
    auto row = tokens(line);
    auto date = lsDate(row, now, utcOffset);
    if (!date || row[date->lastToken].end >= line.size()) continue;
    auto name = line.substr(row[date->lastToken].end + 1);
    const auto kind = kindOfModeString(row[0].text);
    bool exact = utf8::isValid(name);
    if (kind == RemoteEntry::Kind::symlink) {
      auto at = name.find(arrow);
      // A second arrow makes the split a guess.
      exact = exact && at != std::string_view::npos &&
              name.find(arrow, at + 1) == std::string_view::npos;
      if (at != std::string_view::npos) name = name.substr(0, at);
    }
    if (name.empty() || name == "." || name == "..") continue;
    auto size = integer(row[date->sizeToken].text).value_or(0);
    entries.push_back({std::string(name), shownPrefix + std::string(name), kind, size,
                       date->modified, false, exact});
  }
  return entries;
}

std::set<std::string> folderTargets(std::string_view data, std::string_view directory) {
  std::set<std::string> names;
  for (auto& child : parseNames(data, directory))
    names.insert(std::move(child.name));
  return names;
}

}  // namespace lumivale::RemoteListing
