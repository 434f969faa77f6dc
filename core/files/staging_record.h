#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/files/remote_entry.h"

namespace lumivale {

// What a staged item on the tablet is, read from its name (the prefixes of AdbFiles).
enum class Leftover { unfinishedCopy, unfinishedDelete, keptCopy, unfinishedRename };

std::string_view rawValue(Leftover kind);

// A record on the tablet, beside the staged items of one operation, that says which name
// they belong to and which program made them. Every staged item is named prefix + id, and
// the record of that id is ".lumivale-record-{id}". It is written before the first move
// (to ".lumivale-record-{id}.new", then moved over, so it is never read half-written) and
// removed after the last one. Its text is UTF-8 lines, "key=value" after a first line
// "lumivale staging record 1":
//   id=...         the id its staged items carry (lower-case hex, so case-blind storage
//                  cannot confuse two records)
//   operation=...  copy (a push, replacing or not), delete or rename
//   name=...       the name the items belong to (a rename's old name)
//   newName=...    a rename's new name
//   host=..., pid=..., started=...  the program that made it: computer, process id and
//                  start in seconds since 1970, so clean-up can tell whether it still runs
struct StagingRecord {
  enum class Operation { copy, remove, rename };

  static constexpr std::string_view recordPrefix = ".lumivale-record-";
  static constexpr std::string_view pendingSuffix = ".new";

  std::string id;
  Operation operation = Operation::copy;
  std::string name;
  std::string newName;
  std::string host;
  std::int64_t pid = 0;
  std::int64_t started = 0;

  bool operator==(const StagingRecord&) const = default;

  // A record of this program, started now.
  static StagingRecord mine(std::string id, Operation operation, std::string name,
                            std::string newName = {});
  // The record's lines, without their line breaks.
  std::vector<std::string> lines() const;
  // Every record in `text` (records read back to back), skipping any that is not whole.
  static std::vector<StagingRecord> parseAll(std::string_view text);
  static std::string fileName(std::string_view id);
  // A fresh id for the staged items of one operation.
  static std::string newId();
};

// The kind of a staged name and the id it carries; absent for any other name.
struct StagedName {
  Leftover kind;
  std::string id;
  static std::optional<StagedName> of(std::string_view name);
};

// Whether the program that wrote a record is still at work. On this computer a process
// that is gone does not own anything; in this process only the operations under way do.
// A record from another computer counts as that computer's work for a day after it started.
bool ownerRunning(const StagingRecord& record, Timestamp now);

// Marks an operation of this process as under way for as long as it lives.
class LiveStaging {
 public:
  explicit LiveStaging(std::string id);
  LiveStaging(const LiveStaging&) = delete;
  LiveStaging& operator=(const LiveStaging&) = delete;
  ~LiveStaging();
  const std::string& id() const { return id_; }

 private:
  std::string id_;
};

}  // namespace lumivale
