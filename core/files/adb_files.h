#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/files/files_error.h"
#include "core/files/keyed_entries.h"
#include "core/files/leftover_plan.h"
#include "core/files/listing_format_cache.h"
#include "core/files/reading-folder/reading_tree.h"
#include "core/files/remote_entry.h"
#include "core/files/transfer.h"
#include "core/stop_token.h"
#include "core/tablet/adb_runner.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale {

// The one place where the computer changes files on the tablet. Nothing is left
// half-written under a user-visible name: replacements, deletions and renames pass
// through hidden staging names first. Copies of an AdbFiles act on the same tablet.
// Every operation runs under the copy's stop token: cancelling it ends the operation
// with Cancelled (what it staged is cleaned up as on any failure), and its deadline
// cuts each step's time.
class AdbFiles {
 public:
  static constexpr std::string_view partialPrefix = ".lumivale-partial-";
  static constexpr std::string_view keptPrefix = ".lumivale-partial-old-";
  static constexpr std::string_view deletingPrefix = ".lumivale-deleting-";
  static constexpr std::string_view renamingPrefix = ".lumivale-renaming-";

  using MarkQuarantine = std::function<int(const std::filesystem::path&)>;

  // Throws FilesError when `serial` cannot name a tablet.
  AdbFiles(AdbFileRunner& runner, std::string serial,
           TransferLimits limits = TransferLimits::standard(),
           std::shared_ptr<ListingFormatCache> caches = ListingFormatCache::shared());

  const std::string& serial() const { return serial_; }
  const TransferLimits& limits() const { return limits_; }
  // A copy whose every operation is stopped by `stop`.
  AdbFiles stoppedBy(StopToken stop) const;
  const StopToken& stop() const { return stop_; }
  // Applied to every pulled copy; a non-zero status refuses the copy.
  MarkQuarantine markQuarantine = [](const std::filesystem::path&) { return 0; };

  // Shell lines go to the tablet as TabletShell writes and reads them.
  static std::string displayable(std::string_view text);
  static std::vector<std::vector<std::string>> batches(const std::vector<std::string>& paths,
                                                       std::size_t budget);
  ShellResult exec(const std::vector<std::string>& arguments, Seconds timeout,
                   bool mergeErrors) const;
  // exec, with the output handed to `reader` while it arrives: the result holds only what
  // the reader left in its rest, before the exit marker.
  ShellResult execReading(const std::vector<std::string>& arguments, Seconds timeout,
                          ShellOutputReader& reader) const;
  // exec, with a non-zero status refused as "could not {doing}: {first line}".
  ShellResult check(const std::vector<std::string>& arguments, std::string_view doing,
                    Seconds timeout) const;

  // Looking.
  std::vector<RemoteEntry> list(const std::string& path, bool includeHidden) const;
  // list, with each name's collation key, for sorting: the keys are mostly worked out
  // while the listing arrives.
  KeyedEntries listForSorting(const std::string& path, bool includeHidden) const;
  // Throws the reason a folder cannot be listed, where the tablet can say it.
  void diagnoseFolder(const std::string& path) const;
  std::optional<RemoteEntry> entry(const std::string& path) const;
  bool present(const std::string& path) const;
  std::string confine(const std::string& path, bool mustExist) const;
  std::string confineItem(const std::string& path) const;

  // Changing.
  void makeDirectory(const std::string& path, bool intermediate) const;
  std::string rename(const std::string& path, const std::string& newName) const;
  void remove(const std::string& path) const;
  std::string push(const std::filesystem::path& local, const std::string& toDirectory,
                   const std::optional<std::string>& as, CollisionPolicy collision,
                   TransferObserver* progress = nullptr) const;
  // Something already at `destination` is swapped out in one step with `replaceExisting`,
  // and refused otherwise.
  void pull(const std::string& path, const std::filesystem::path& destination,
            TransferObserver* progress = nullptr, bool replaceExisting = false) const;

  // Measuring.
  std::uint64_t usage(const std::string& path) const;
  std::optional<std::uint64_t> tabletFree(const std::string& path) const;
  std::uint64_t remoteBytes(const std::string& path, bool folders) const;
  std::optional<std::string> sha256(const std::string& path) const;
  bool hashSupported() const;
  std::optional<std::string> identity(const std::string& path) const;
  static std::optional<RemoteEntry::Kind> kind(std::string_view identity);
  static std::optional<std::uint64_t> size(std::string_view identity);

  // The folders at or under `top` that hold remains of operations, found in one search.
  std::vector<std::string> foldersWithLeftovers(const std::string& top) const;
  // Remains of operations that did not finish, each with its kind and the name it belongs to.
  std::vector<LeftoverItem> leftovers(const std::string& folder) const;
  std::vector<RemoteEntry> leftoverPartials(const std::string& folder) const;
  // Puts staged items back under their names, then erases what nothing needs; what a running
  // program owns, or whose owner cannot be told, is kept.
  struct CleanUpReport {
    std::vector<CleanUpStep> done;
    std::vector<CleanUpStep> kept;      // left as they are, each saying why
    std::vector<std::string> failures;  // steps that failed, as sentences
    int erased() const;
  };
  CleanUpReport cleanUp(const std::string& folder) const;

  // Staging primitives, shared with the Reading folder's sync run.
  // A folder's listing (hidden items included) with the staging records it holds.
  StagingFolder stagingFolder(const std::string& folder) const;
  // Writes the record of an operation into `folder` before it stages anything there; then
  // makes the staging folder `thenMake`, when given, in the same run.
  void noteStaging(const std::string& folder, const StagingRecord& record,
                   const std::optional<std::string>& thenMake = std::nullopt) const;
  // Removes the record of `id`, whole or pending, for when nothing of its operation is left;
  // never throws.
  // Returns whether it went.
  bool dropRecord(const std::string& folder, const std::string& id) const noexcept;
  // Moves `from` to `to` without overwriting and checks that what arrived is what left.
  void moveChecked(const std::string& from, const std::string& to, std::string_view doing) const;
  // Checks that the staged copy at `staged` is the whole of `local`.
  void verifyStaged(const std::string& staged, const std::filesystem::path& local,
                    std::uint64_t localBytes) const;
  // Erases a staged copy that failed; never throws, since it runs while failing. Returns
  // whether it is gone.
  bool discardStage(const std::string& staged) const noexcept;

  // The Reading folder's steps. "seen" is the item as the run's listing found it: a step
  // that would replace or remove it first sets it aside and checks it is still that, and
  // puts it back otherwise, refusing with "'{path}' changed on the tablet since it was
  // looked at, so it was left as it is".
  //
  // Everything under `folder` in one listing; empty when the folder is not there yet.
  ReadingTree readingTree(const std::string& folder) const;
  // The items at `paths` as the tree shows them, each with its identity, in few runs, by
  // path; what is not there is left out.
  std::map<std::string, ReadingTree::Item> readingItems(
      const std::vector<std::string>& paths) const;
  // The digests of many files in few runs, by path; a file that cannot be read is left out.
  std::map<std::string, std::string> sha256s(const std::vector<std::string>& paths) const;
  // Sends `local` to a staging name in `folder`, with a record saying it is for `name`, and
  // checks it arrived whole. Returns the staged path; on failure nothing is left.
  std::string pushStaged(const std::filesystem::path& local, const std::string& folder,
                         const std::string& name, TransferObserver* progress = nullptr) const;
  // Gives a staged copy the name `target` when that is free (MoveSkipped when not).
  void placeStaged(const std::string& staged, const std::string& target) const;
  // Many new copies sent together: each computer file arrives in one hidden staging folder
  // under its arrival name (a valid tablet name, unique in the folder whatever its capitals).
  struct Arrival {
    std::filesystem::path local;
    std::string name;
  };
  // Makes the staging folder `staging` (a staging name; its record goes beside it) and sends
  // the files into it: those whose computer name is their arrival name in one adb push per
  // batch of paths, the others one by one. Returns what the folder then holds, by arrival
  // name, each item with its identity; what arrived is not checked here.
  std::map<std::string, ReadingTree::Item> pushMany(const std::string& staging,
                                                    const std::vector<Arrival>& arrivals,
                                                    std::uint64_t bytes,
                                                    TransferObserver* progress = nullptr) const;
  // Moves each staged item (path, target) of `staging` to its target where that name is free,
  // in one shell line per batch of paths, then erases the staging folder, with what is still
  // in it, and its record. Returns what the targets hold afterwards, by path, each with its
  // identity: the copy moved there keeps the identity it had when staged.
  std::map<std::string, ReadingTree::Item> publishMany(
      const std::string& staging,
      const std::vector<std::pair<std::string, std::string>>& moves) const;
  // Puts the whole staging folder `staging` in place as `folder`, beside it, when no item has
  // that name yet, and then erases its record: true when it did. Otherwise the staged copies
  // are left for publishMany.
  bool publishWhole(const std::string& staging, const std::string& folder) const;
  // Puts a staged copy in place of `target`, which must still be as seen.
  void replaceIfUnchanged(const std::string& staged, const std::string& target,
                          const ReadingTree::Item& seen) const;
  // Deletes `path`, which must still be as seen.
  void removeIfUnchanged(const std::string& path, const ReadingTree::Item& seen) const;
  // Moves `path` to `prefix` + `id` in its folder if it is still as seen; returns where.
  std::string setAsideIfUnchanged(const std::string& path, const ReadingTree::Item& seen,
                                  std::string_view prefix, const std::string& id) const;
  // Puts an item set aside back under its name, which must be free.
  void moveBack(const std::string& heldAs, const std::string& path) const;
  // Removes a folder only if it is empty: false when it holds something.
  bool removeEmptyFolder(const std::string& path) const;

 private:
  KeyedEntries listing(const std::string& path, bool includeHidden, bool withNameKeys) const;
  KeyedEntries listAs(RemoteListing::Format format, const std::string& path,
                      bool withNameKeys) const;
  ToolRun runShell(const std::vector<std::string>& arguments, Seconds timeout, bool mergeErrors,
                   const OutputChunks* onOutput) const;
  // The result of a shell run whose output was `output`, or the failure it was.
  ShellResult ended(const std::vector<std::string>& arguments, const ToolRun& run,
                    std::string_view output) const;
  struct Confined {
    std::string path;
    bool isTop = false;  // the top of the shared storage, by name or by where it leads
  };
  Confined confineChecked(const std::string& path, bool mustExist) const;
  // confine for a change: the top of the storage is refused with `topRefusal`.
  std::string confineChange(const std::string& path, bool mustExist,
                            std::string_view topRefusal) const;
  std::vector<std::string> resolverCommand() const;
  std::optional<std::string> resolved(const std::string& path) const;
  void markLinkTargets(std::vector<RemoteEntry>& entries, const std::string& folder) const;
  void transfer(const std::vector<std::string>& arguments,
                const std::function<std::uint64_t()>& sample, std::optional<std::uint64_t> total,
                std::uint64_t cap, TransferObserver* progress) const;
  void sendStaged(const std::filesystem::path& local, const std::string& staged,
                  std::uint64_t localBytes, TransferObserver* progress) const;
  // A copy for putting things back after a failure or a cancel: not stopped by this
  // copy's token, each step under its own timeout.
  AdbFiles settling() const { return stoppedBy(StopToken()); }
  // Gives the staged copy its final name; `old` is the item it replaces, if any.
  void place(const std::string& staged, const std::string& target,
             const std::optional<RemoteEntry>& old, const std::string& id) const;
  void swapFile(const std::string& staged, const std::string& target, std::string_view doing) const;
  StagingFolder withRecords(const std::string& folder, std::vector<RemoteEntry> entries) const;
  // Erases the unfinished copies in `folder` that no running program owns.
  void sweepUnowned(const std::string& folder,
                    const std::vector<RemoteEntry>& entries) const noexcept;
  // Drops the record of `id` once none of `staged` is left on the tablet; never throws.
  void settleRecord(const std::string& folder, const std::string& id,
                    const std::vector<std::string>& staged) const noexcept;
  // Carries out clean-up steps; a step that fails stops the rest of its operation.
  CleanUpReport carryOut(const std::vector<CleanUpStep>& steps) const;

  AdbFileRunner* runner_;
  std::string serial_;
  TransferLimits limits_;
  std::shared_ptr<ListingFormatCache> caches_;
  StopToken stop_;
};

}  // namespace lumivale
