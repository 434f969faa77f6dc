#pragma once

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/files/keyed_entries.h"
#include "core/files/remote_entry.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale {

// Turns what the tablet's shell prints about one folder into entries. `directory`
// is the folder as it was handed to the tablet; `shownAs` is the folder the entries'
// paths are given under.
namespace RemoteListing {

enum class Format { findPrintf, findStat, ls };
inline constexpr std::array<Format, 3> allFormats{Format::findPrintf, Format::findStat, Format::ls};
std::string_view rawValue(Format format);
std::optional<Format> format(std::string_view rawValue);

struct StatInfo {
  RemoteEntry::Kind kind = RemoteEntry::Kind::other;
  std::int64_t size = 0;
  std::optional<Timestamp> modified;
  bool operator==(const StatInfo&) const = default;
};

struct ChildName {
  std::string name;
  bool exact = true;
  bool operator==(const ChildName&) const = default;
};

std::vector<RemoteEntry> parseFindPrintf(std::string_view data, std::string_view directory,
                                         std::string_view shownAs);

// parseFindPrintf for output that arrives in pieces: each record is read as soon as its
// NUL has come, with its name's collation key when asked for, so that little is left to do
// once the listing ends. What follows the last NUL waits in rest().
class FindPrintfReader : public ShellOutputReader {
 public:
  FindPrintfReader(std::string_view directory, std::string_view shownAs, bool withNameKeys);
  void add(std::string_view chunk) override;
  std::string_view rest() const override { return pending_; }
  // Whether a NUL has come: the output was not empty, whatever its records held.
  bool closedARecord() const { return closedARecord_; }
  // The entries, after reading `lastRecord` (the end of the output that no NUL closed).
  KeyedEntries finish(std::string_view lastRecord) &&;

 private:
  void read(std::string_view record);

  std::string prefix_;
  std::string shownPrefix_;
  bool withNameKeys_;
  std::optional<NameCollator> collator_;
  std::string pending_;  // the start of a record whose NUL has not come yet
  bool closedARecord_ = false;
  KeyedEntries read_;
};
std::vector<ChildName> parseNames(std::string_view data, std::string_view directory);
std::map<std::string, StatInfo> parseStatLines(std::string_view text);
std::vector<RemoteEntry> joinNamesAndStat(const std::map<std::string, StatInfo>& stat,
                                          const std::vector<ChildName>& names,
                                          std::string_view shownAs);
// `utcOffset` is the tablet's offset from UTC, used to read its local dates.
std::vector<RemoteEntry> parseLs(std::string_view text, std::string_view shownAs, Timestamp now,
                                 std::chrono::seconds utcOffset);

std::vector<std::string_view> nulRecords(std::string_view data);
// The child name when `record` is a path directly inside `prefix` (a folder ending in "/").
std::optional<ChildName> directChild(std::string_view prefix, std::string_view record);
// Whether a name may be handed to `stat` in a batch (its answer is one line per name).
bool statable(std::string_view name);
// The names of links that lead to folders, from `find -L {dir}/ ... -type d -print0`.
std::set<std::string> folderTargets(std::string_view data, std::string_view directory);

// The kind a raw mode in hexadecimal (stat %f) gives.
RemoteEntry::Kind kindOfRawMode(std::string_view hexMode);

}  // namespace RemoteListing

}  // namespace lumivale
