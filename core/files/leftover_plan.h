#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/files/remote_entry.h"
#include "core/files/staging_record.h"

namespace lumivale {

// A staging record read from the tablet, and whether the program that wrote it still runs.
struct OwnedRecord {
  StagingRecord record;
  bool running = false;
};

// One tablet folder as clean-up sees it.
struct StagingFolder {
  std::string folder;
  std::vector<RemoteEntry> entries;            // everything in it, hidden items included
  std::map<std::string, OwnedRecord> records;  // the records that could be read, by id
  Timestamp now;
};

// What clean-up does with one staged item (or a record that nothing needs any more).
struct CleanUpStep {
  enum class Does { putBack, putUnderNewName, erase, keep };

  Does does = Does::keep;
  std::string id;
  std::string path;
  std::string to;                // where putBack and putUnderNewName move it
  std::optional<Leftover> kind;  // absent for a record
  std::optional<std::string> belongsTo;
  std::string what;  // what the item is, as a phrase
  std::string why;   // why it is moved on or kept, as a phrase; may be empty

  bool operator==(const CleanUpStep&) const = default;
  // "{path} is {what}; clean-up {does it}".
  std::string sentence() const;
};

// A staged item as `files leftovers` shows it.
struct LeftoverItem {
  RemoteEntry entry;
  Leftover kind;
  std::optional<std::string> belongsTo;
  std::string about;  // what it is and what clean-up does with it
};

// Clean-up's decisions, from a folder's listing and records alone. An item goes back under
// the name it belongs to before anything is erased; an item whose owner cannot be told is
// kept; what a running program owns is left alone. The steps of one id run in order, and
// a step that fails stops the rest of its id.
namespace LeftoverPlan {

// An item with no record is taken as abandoned only after this long untouched.
inline constexpr std::chrono::hours safeAge{1};

std::vector<CleanUpStep> steps(const StagingFolder& folder);
std::vector<LeftoverItem> items(const StagingFolder& folder);
// What an operation that writes into the folder sweeps on its way: unfinished copies that
// no running program owns and that nothing else needs (records with nothing left included).
std::vector<CleanUpStep> sweep(const StagingFolder& folder);

}  // namespace LeftoverPlan

}  // namespace lumivale
