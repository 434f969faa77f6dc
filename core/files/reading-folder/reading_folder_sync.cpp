#include "core/files/reading-folder/reading_folder_sync.h"

#include <map>
#include <set>

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/files/reading-folder/mac_scan.h"
#include "core/files/reading-folder/reading_folder_lock.h"
#include "core/files/reading-folder/reading_folder_planner.h"
#include "core/files/reading-folder/reading_folder_store.h"
#include "core/files/reading-folder/set_aside_journal.h"
#include "core/files/remote_path.h"
#include "core/files/staging_record.h"
#include "core/files/utf8.h"
#include "core/settings/log.h"

namespace lumivale::ReadingFolderSync {

namespace {

namespace fs = std::filesystem;
using Plan = ReadingFolderPlan;
using CopiedFile = ReadingFolderManifest::CopiedFile;
using Journal = ReadingFolderStore::SetAsideFile;

// New copies are sent together and put in place this many at a time, and recorded together:
// a run stopped midway sends again at most one batch.
constexpr std::size_t publishBatch = 2000;
constexpr std::int64_t publishBatchBytes = 256 * 1024 * 1024;

std::string notWhereSent(const std::string& mac) {
  return fmt::format("the copy of '{}' is not where it was sent", mac);
}

std::string notWhole(const std::string& mac) {
  return fmt::format("the copy of '{}' did not arrive whole; it is sent again next time", mac);
}

bool isStaging(const std::string& relative) {
  std::size_t start = 0;
  for (;;) {
    if (std::string_view(relative).substr(start).starts_with(".lumivale-")) return true;
    const std::size_t slash = relative.find('/', start);
    if (slash == std::string::npos) return false;
    start = slash + 1;
  }
}

std::string folderOf(const std::string& relative) {
  const std::size_t slash = relative.rfind('/');
  return slash == std::string::npos ? "" : relative.substr(0, slash + 1);
}

// Both sides read and planned.
struct Planned {
  ReadingFolderManifest manifest;
  MacScan scan;
  ReadingTree tree;
  ReadingFolderPlan plan;
};

class Run {
 public:
  Run(const AdbFiles& files, const Options& options, ReadingFolderSyncObserver* observer)
      : files_(files), options_(options), observer_(observer) {
    tabletFolder_ = RemotePath::validate(options.tabletFolder);
  }

  ReadingFolderManifest loadRecord() const {
    const MacRoot root = MacRoot::of(options_.macFolder);
    const auto stored = ReadingFolderStore::load(options_.settingsFolder, options_.tablet);
    return ReadingFolderStore::manifest(stored, root, tabletFolder_).manifest;
  }

  Planned plan(ReadingFolderManifest manifest, bool cleanUpLeftovers) const {
    Planned planned{std::move(manifest), {}, {}, {}};
    planned.scan = MacScan::read(
        options_.macFolder, {tabletFolder_, options_.limits, &planned.manifest}, files_.stop());
    planned.tree = tabletTree(cleanUpLeftovers);
    const auto needed = ReadingFolderPlanner::digestsNeeded(planned.scan, planned.manifest,
                                                            planned.tree, options_.removeDeleted);
    // The tablet's sha256sum matters only when some copy needs its digest.
    if (!needed.empty()) planned.tree.hashSupported = files_.hashSupported();
    if (!needed.empty() && planned.tree.hashSupported) {
      std::vector<std::string> paths;
      for (const std::string& path : needed)
        paths.push_back(onTablet(path));
      const auto digests = files_.sha256s(paths);
      for (const std::string& path : needed) {
        if (const auto digest = digests.find(onTablet(path)); digest != digests.end()) {
          planned.tree.items.at(path).sha256 = digest->second;
        }
      }
    }
    planned.plan = ReadingFolderPlanner::plan(planned.scan, planned.manifest, planned.tree,
                                              options_.removeDeleted);
    return planned;
  }

  ReadingFolderSummary run() {
    const ReadingFolderStore::Lock lock(options_.settingsFolder, options_.tablet);
    manifest_ = loadRecord();
    settle();
    Planned planned = plan(std::move(manifest_), true);
    manifest_ = std::move(planned.manifest);
    tree_ = std::move(planned.tree);
    for (const auto& [path, item] : tree_.items)
      lowered_[utf8::asciiLowered(path)] = &item;
    for (const MacFile& file : planned.scan.files)
      macFiles_[file.path] = &file;
    const Plan& plan = planned.plan;
    summary_.notes = plan.notes;
    summary_.unchanged = plan.unchanged;
    summary_.held = plan.held;
    event_.steps = static_cast<int>(plan.actions.size());
    for (const Plan::Action& action : plan.actions) {
      if (const auto* copy = std::get_if<Plan::Copy>(&action)) event_.bytes += sizeOf(copy->mac);
      if (const auto* both = std::get_if<Plan::KeepBoth>(&action))
        event_.bytes += sizeOf(both->mac);
    }
    tell();
    refreshStamps();
    for (const Plan::Bookkeeping& step : plan.bookkeeping)
      std::visit([this](const auto& change) { keep(change); }, step);
    save();
    // The tablet folder itself is made by the first run that puts something in it.
    folderMissing_ = !tree_.folderExists && !plan.actions.empty();
    for (const Plan::Action& action : plan.actions) {
      // New copies wait to be put in place together; anything else goes after them.
      const auto* copy = std::get_if<Plan::Copy>(&action);
      if (!std::holds_alternative<Plan::KeepBoth>(action) && (copy == nullptr || copy->replacing)) {
        publish();
        makeTabletFolder();
      }
      std::visit([this](const auto& step) { attempt(step); }, action);
      if (pending_.size() >= publishBatch || pendingBytes_ >= publishBatchBytes) publish();
    }
    publish();
    event_.finished = summary_;
    tell();
    return summary_;
  }

 private:
  std::string onTablet(const std::string& relative) const { return tabletFolder_ + "/" + relative; }

  std::int64_t sizeOf(const std::string& mac) const {
    const auto file = macFiles_.find(mac);
    return file == macFiles_.end() ? 0 : file->second->size;
  }

  void tell() {
    if (observer_ != nullptr) observer_->notify(event_);
  }

  void save() { ReadingFolderStore::save(options_.settingsFolder, options_.tablet, manifest_); }

  void saveJournal() { journal_.save(options_.settingsFolder); }

  // The tablet's tree without the staging items of unfinished operations; those no running
  // program owns are cleaned up first, when asked.
  ReadingTree tabletTree(bool cleanUpLeftovers) const {
    ReadingTree tree = files_.readingTree(tabletFolder_);
    std::set<std::string> withLeftovers;
    std::erase_if(tree.items, [&](const auto& entry) {
      if (!isStaging(entry.first)) return false;
      withLeftovers.insert(folderOf(entry.first));
      return true;
    });
    if (!cleanUpLeftovers || withLeftovers.empty()) return tree;
    bool putBack = false;
    for (const std::string& folder : withLeftovers) {
      const std::string path =
          folder.empty() ? tabletFolder_ : onTablet(folder.substr(0, folder.size() - 1));
      const auto report = files_.cleanUp(path);
      for (const std::string& failure : report.failures)
        logWarning("reading folder: {}", failure);
      for (const CleanUpStep& step : report.done) {
        putBack = putBack || step.does == CleanUpStep::Does::putBack ||
                  step.does == CleanUpStep::Does::putUnderNewName;
      }
    }
    // An item put back under its name is part of the tree again.
    return putBack ? tabletTree(false) : tree;
  }

  // The staged copy has left its staging name and is what its target holds now.
  static bool holdsItsCopy(const Journal::Stage& stage,
                           const std::map<std::string, ReadingTree::Item>& items) {
    const auto now = items.find(stage.to);
    return !items.contains(stage.staged) && now != items.end() &&
           now->second.identity == stage.identity;
  }

  static std::vector<std::string> stagedAndTargets(const std::vector<Journal::Stage>& stages) {
    std::vector<std::string> paths;
    for (const Journal::Stage& stage : stages)
      paths.insert(paths.end(), {stage.staged, stage.to});
    return paths;
  }

  // The targets that hold their stage's copy, asked of the tablet after a step failed part
  // way: a move may have happened before it failed.
  std::set<std::string> arrived(const std::vector<Journal::Stage>& stages) const {
    const auto items = files_.readingItems(stagedAndTargets(stages));
    std::set<std::string> found;
    for (const Journal::Stage& stage : stages) {
      if (holdsItsCopy(stage, items)) found.insert(stage.to);
    }
    return found;
  }

  // Finishes or undoes what an interrupted run left under way, from its journal.
  void settle() {
    journal_ = Journal::load(options_.settingsFolder, options_.tablet);
    if (journal_.empty()) return;
    std::vector<std::string> paths;
    for (const Journal::Entry& entry : journal_.entries)
      paths.insert(paths.end(), {entry.heldAs, entry.path});
    for (const Journal::Stage& stage : journal_.stages)
      paths.insert(paths.end(), {stage.staged, stage.to});
    const auto items = files_.readingItems(paths);
    const auto holdsStage = [&](const Journal::Stage& stage) { return holdsItsCopy(stage, items); };
    for (const Journal::Entry& entry : journal_.entries) {
      if (!items.contains(entry.heldAs)) continue;
      try {
        if (!items.contains(entry.path)) {
          files_.moveBack(entry.heldAs, entry.path);
        } else if (std::ranges::any_of(journal_.stages, [&](const Journal::Stage& stage) {
                     return stage.to == entry.path && holdsStage(stage);
                   })) {
          files_.discardStage(entry.heldAs);  // the replacement arrived
        }
      } catch (const Cancelled&) {
        throw;
      } catch (const Error& error) {
        // Left hidden under its staging name, where clean-up finds it.
        logWarning("reading folder: {}", error.message());
      }
    }
    // Copies sent together wait in a staging folder of their own, which goes as a whole.
    std::set<std::string> batchFolders;
    for (const Journal::Stage& stage : journal_.stages) {
      const std::string folder = *RemotePath::parent(stage.staged);
      const auto batch = StagedName::of(RemotePath::name(folder));
      const bool sentTogether = batch && batch->id == stage.id;
      if (holdsStage(stage)) {
        manifest_.files[stage.mac] = stage.copied;
      } else if (!sentTogether && items.contains(stage.staged)) {
        files_.discardStage(stage.staged);
      }
      if (sentTogether) {
        batchFolders.insert(folder);
      } else {
        files_.dropRecord(folder, stage.id);
      }
    }
    for (const std::string& folder : batchFolders) {
      files_.discardStage(folder);
      files_.dropRecord(*RemotePath::parent(folder), StagedName::of(RemotePath::name(folder))->id);
    }
    save();
    journal_ = Journal{};
    journal_.serial = options_.tablet;
    saveJournal();
  }

  const ReadingTree::Item* seen(const std::string& relative) const {
    const auto found = lowered_.find(utf8::asciiLowered(relative));
    return found == lowered_.end() ? nullptr : found->second;
  }

  // A record whose tablet copy was proved unchanged by its digest takes the copy's date, so
  // that the next run need not hash it again.
  void refreshStamps() {
    for (auto& [mac, copied] : manifest_.files) {
      const ReadingTree::Item* item = seen(copied.tabletPath);
      if (item != nullptr && item->sha256 == copied.sha256 && item->size == copied.tabletSize) {
        copied.tabletModified = item->modified;
      }
    }
  }

  void keep(const Plan::Forget& forget) { manifest_.files.erase(forget.mac); }
  void keep(const Plan::Touch& touch) {
    const auto old = manifest_.files.find(touch.oldMac);
    if (old == manifest_.files.end()) return;
    CopiedFile copied = old->second;
    manifest_.files.erase(old);
    copied.size = touch.size;
    copied.modified = touch.modified;
    if (const auto file = macFiles_.find(touch.mac); file != macFiles_.end()) {
      copied.inode = file->second->inode;
      copied.changed = file->second->changed;
    }
    manifest_.files[touch.mac] = copied;
  }
  void keep(const Plan::RemovedOnTablet& removed) {
    if (auto found = manifest_.files.find(removed.mac); found != manifest_.files.end()) {
      found->second.removedOnTablet = true;
    }
  }
  void keep(const Plan::ForgetFolder& folder) { std::erase(manifest_.folders, folder.path); }

  // One action, with its failure noted and the run going on.
  template <typename Action>
  void attempt(const Action& action) {
    event_.path = pathOf(action);
    try {
      waiting_ = false;
      perform(action);
      if (waiting_) {
        waitingActions_.push_back(action);
      } else {
        summary_.done.push_back(action);
      }
    } catch (const Cancelled&) {
      throw;
    } catch (const Error& error) {
      summary_.failures.push_back({event_.path, error.message()});
    }
    ++event_.stepsDone;
    tell();
  }

  static std::string pathOf(const Plan::RenameCase& action) {
    return action.mac.value_or(action.to);
  }
  static std::string pathOf(const Plan::MakeFolder& action) { return action.path; }
  static std::string pathOf(const Plan::RemoveFolder& action) { return action.path; }
  template <typename Action>
  static std::string pathOf(const Action& action) {
    return action.mac;
  }

  void perform(const Plan::RenameCase& action) {
    files_.rename(onTablet(action.from), RemotePath::name(onTablet(action.to)));
    for (auto& [mac, copied] : manifest_.files) {
      if ((!action.mac || mac == *action.mac) && copied.tabletPath == action.from) {
        copied.tabletPath = action.to;
      }
    }
    ++summary_.renamed;
    save();
  }

  void perform(const Plan::Remove& action) {
    const ReadingTree::Item* item = seen(action.at);
    if (item == nullptr) throw Error(fmt::format("'{}' is not on the tablet", action.at));
    files_.removeIfUnchanged(onTablet(action.at), *item);
    manifest_.files.erase(action.mac);
    ++summary_.removed;
    save();
  }

  void perform(const Plan::MakeFolder& action) {
    files_.makeDirectory(onTablet(action.path), true);
    if (std::ranges::find(manifest_.folders, action.path) == manifest_.folders.end()) {
      manifest_.folders.push_back(action.path);
    }
    ++summary_.foldersMade;
    save();
  }

  void perform(const Plan::RemoveFolder& action) {
    std::erase(manifest_.folders, action.path);
    if (files_.removeEmptyFolder(onTablet(action.path))) {
      ++summary_.foldersRemoved;
    } else {
      summary_.notes.push_back({action.path, std::string(NoteText::folderStillHolds)});
    }
    save();
  }

  void perform(const Plan::Adopt& action) {
    const ReadingTree::Item* item = seen(action.at);
    if (item == nullptr) throw Error(fmt::format("'{}' is not on the tablet", action.at));
    CopiedFile copied = recordOf(action.mac, action.at, false);
    copied.tabletSize = item->size;
    copied.tabletModified = item->modified;
    manifest_.files[action.mac] = copied;
    ++summary_.copied;
    save();
  }

  void perform(const Plan::Copy& action) {
    if (!action.replacing) {
      stage(action.mac, action.to, false);
      return;
    }
    const ReadingTree::Item* old = seen(action.to);
    if (old == nullptr) throw Error(fmt::format("'{}' is not on the tablet", action.to));
    std::vector<Journal::Stage> sent{send(action.mac, action.to, false)};
    if (!stamped(sent).front()) throw Error(notWhereSent(action.mac));
    const Journal::Stage& staged = sent.front();
    const std::string target = onTablet(action.to);
    journal_.entries.push_back({target, *RemotePath::parent(staged.staged) + "/" +
                                            std::string(AdbFiles::keptPrefix) + staged.id});
    journal_.stages.push_back(staged);
    saveJournal();
    try {
      files_.replaceIfUnchanged(staged.staged, target, *old);
    } catch (const Cancelled&) {
      throw;  // the journal stays for the next run to settle
    } catch (const Error&) {
      if (!arrived({staged}).contains(target)) {
        forget(staged);
        clearJournal();
        throw;
      }
      // It failed after the copy took its name: only the old one is left to erase.
      files_.discardStage(journal_.entries.back().heldAs);
    }
    manifest_.files[action.mac] = staged.copied;
    ++summary_.replaced;
    save();
    clearJournal();
  }

  void perform(const Plan::KeepBoth& action) {
    stage(action.mac, folderOf(action.beside) + action.as, true);
  }

  void clearJournal() {
    journal_.entries.clear();
    journal_.stages.clear();
    saveJournal();
  }

  CopiedFile recordOf(const std::string& mac, const std::string& to, bool keptBoth) const {
    const auto file = macFiles_.find(mac);
    if (file == macFiles_.end() || !file->second->sha256) {
      throw Error(fmt::format("'{}' was not read whole, so it was not copied", mac));
    }
    CopiedFile copied;
    copied.size = file->second->size;
    copied.modified = file->second->modified;
    copied.sha256 = *file->second->sha256;
    copied.tabletPath = to;
    if (keptBoth) copied.keptBoth = true;
    copied.inode = file->second->inode;
    copied.changed = file->second->changed;
    return copied;
  }

  // Reports a copy's bytes as part of the run's.
  class Bytes : public TransferObserver {
   public:
    explicit Bytes(Run& run) : run_(run), base_(run.event_.bytesDone) {}
    void notify(const TransferProgress& progress) override {
      run_.event_.bytesDone = base_ + progress.done;
      run_.tell();
    }

   private:
    Run& run_;
    std::int64_t base_;
  };

  // Sends the computer file to a staging name beside `to`; the stage carries the record the
  // copy gets once it is in place, all but the tablet's stamps, which `stamped` reads.
  Journal::Stage send(const std::string& mac, const std::string& to, bool keptBoth) {
    CopiedFile copied = recordOf(mac, to, keptBoth);
    const std::string target = onTablet(to);
    const std::int64_t before = event_.bytesDone;
    Bytes bytes(*this);
    const std::string staged = files_.pushStaged(
        options_.macFolder / mac, *RemotePath::parent(target), RemotePath::name(target), &bytes);
    event_.bytesDone = before + copied.size;
    return {StagedName::of(RemotePath::name(staged))->id, mac, staged, target, "", copied};
  }

  // Reads the staged copies' identity and stamps into their stages, in few runs; false for
  // each stage whose copy is not there (which is then erased).
  std::vector<bool> stamped(std::vector<Journal::Stage>& stages) {
    std::vector<std::string> paths;
    for (const Journal::Stage& stage : stages)
      paths.push_back(stage.staged);
    const auto items = files_.readingItems(paths);
    std::vector<bool> found;
    for (Journal::Stage& stage : stages) {
      const auto item = items.find(stage.staged);
      found.push_back(item != items.end());
      if (!found.back()) {
        forget(stage);
        continue;
      }
      stage.identity = item->second.identity.value_or("");
      stage.copied.tabletSize = item->second.size;
      stage.copied.tabletModified = item->second.modified;
    }
    return found;
  }

  // Erases a staged copy and its tablet record.
  void forget(const Journal::Stage& stage) {
    files_.discardStage(stage.staged);
    files_.dropRecord(*RemotePath::parent(stage.staged), stage.id);
  }

  // A new copy waiting to be sent and put in place with others.
  void stage(const std::string& mac, const std::string& to, bool keptBoth) {
    pending_.push_back({mac, to, keptBoth});
    pendingBytes_ += sizeOf(mac);
    waiting_ = true;
  }

  // The name a copy arrives under in the batch's staging folder: its own where the tablet can
  // hold it and no other copy of the batch has it, so that most go in one push.
  static std::string arrivalName(const std::string& mac, std::set<std::string>& taken) {
    std::string name = RemotePath::name(mac);
    if (!utf8::isValid(name) || !RemotePath::isValidName(name) ||
        RemotePath::fatSafeName(name) != name || taken.contains(utf8::asciiLowered(name))) {
      for (int number = 1; taken.contains(name = fmt::format("{}", number)); ++number) {
      }
    }
    taken.insert(utf8::asciiLowered(name));
    return name;
  }

  // Makes the tablet folder if this run has not put it there yet.
  void makeTabletFolder() {
    if (std::exchange(folderMissing_, false)) files_.makeDirectory(tabletFolder_, true);
  }

  // The tablet folder is not there yet and every copy of the batch arrives under its own name
  // directly in it: the staging folder, made beside it, can become it with one rename.
  bool arrivesWhole(const std::vector<std::string>& names) {
    if (!folderMissing_) return false;
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      if (pending_[i].to != names[i]) return false;
    }
    try {
      files_.confine(*RemotePath::parent(tabletFolder_), true);
      return true;
    } catch (const Error&) {
      return false;
    }
  }

  // Sends the waiting new copies into one staging folder, puts them under their names in a
  // few runs, and records those that arrived; a copy whose name was taken meanwhile is erased.
  // The journal knows the batch before anything is sent, and what arrived before it moves.
  void publish() {
    if (pending_.empty()) return;
    std::set<std::string> taken;
    std::vector<std::string> names;
    for (const Waiting& waiting : pending_)
      names.push_back(arrivalName(waiting.mac, taken));
    const bool asFolder = arrivesWhole(names);
    if (!asFolder) makeTabletFolder();
    const std::string id = StagingRecord::newId();
    const std::string staging = (asFolder ? *RemotePath::parent(tabletFolder_) : tabletFolder_) +
                                "/" + std::string(AdbFiles::partialPrefix) + id;
    std::vector<AdbFiles::Arrival> arrivals;
    std::vector<Plan::Action> actions;
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      const Waiting& waiting = pending_[i];
      try {
        const CopiedFile copied = recordOf(waiting.mac, waiting.to, waiting.keptBoth);
        const std::string& name = names[i];
        arrivals.push_back({options_.macFolder / waiting.mac, name});
        journal_.stages.push_back(
            {id, waiting.mac, staging + "/" + name, onTablet(waiting.to), "", copied});
        actions.push_back(waitingActions_[i]);
        bytes += copied.size;
      } catch (const Error& error) {
        summary_.failures.push_back({waiting.mac, error.message()});
      }
    }
    pending_.clear();
    pendingBytes_ = 0;
    waitingActions_.clear();
    if (arrivals.empty()) return;
    saveJournal();
    std::map<std::string, ReadingTree::Item> sent;
    const std::int64_t before = event_.bytesDone;
    try {
      Bytes progress(*this);
      sent = files_.pushMany(staging, arrivals, bytes, &progress);
    } catch (const Cancelled&) {
      throw;
    } catch (const Error& error) {
      // Nothing of the batch is left on the tablet.
      for (const Journal::Stage& staged : journal_.stages)
        summary_.failures.push_back({staged.mac, error.message()});
      clearJournal();
      return;
    }
    event_.bytesDone = before + static_cast<std::int64_t>(bytes);
    std::vector<Journal::Stage> whole;
    std::vector<Plan::Action> wholeActions;
    for (std::size_t i = 0; i < journal_.stages.size(); ++i) {
      Journal::Stage& staged = journal_.stages[i];
      const auto item = sent.find(arrivals[i].name);
      if (item == sent.end() || item->second.isFolder || item->second.size != staged.copied.size) {
        summary_.failures.push_back({staged.mac, notWhole(staged.mac)});
        continue;
      }
      staged.identity = item->second.identity.value_or("");
      staged.copied.tabletSize = item->second.size;
      staged.copied.tabletModified = item->second.modified;
      whole.push_back(staged);
      wholeActions.push_back(actions[i]);
    }
    // Only a batch that arrived whole, every copy of it, may become the folder.
    const bool allArrived = whole.size() == arrivals.size();
    journal_.stages = std::move(whole);
    saveJournal();
    std::vector<std::pair<std::string, std::string>> moves;
    for (const Journal::Stage& staged : journal_.stages)
      moves.emplace_back(staged.staged, staged.to);
    std::map<std::string, ReadingTree::Item> now;
    std::optional<std::string> failure;
    try {
      if (asFolder && allArrived && files_.publishWhole(staging, tabletFolder_)) {
        // The folder is the staging folder renamed: each copy is there as it arrived.
        for (const Journal::Stage& staged : journal_.stages)
          now[staged.to] = sent.at(RemotePath::name(staged.staged));
      } else {
        // A folder made there meanwhile takes the copies one by one, where names are free.
        makeTabletFolder();
        now = files_.publishMany(staging, moves);
      }
      folderMissing_ = false;
    } catch (const Cancelled&) {
      throw;
    } catch (const Error& error) {
      failure = error.message();
      // When the tablet cannot say either, the journal stays for the next run to settle.
      now = files_.readingItems(stagedAndTargets(journal_.stages));
      files_.discardStage(staging);
      files_.dropRecord(*RemotePath::parent(staging), id);
    }
    for (std::size_t i = 0; i < journal_.stages.size(); ++i) {
      const Journal::Stage& staged = journal_.stages[i];
      if (holdsItsCopy(staged, now)) {
        manifest_.files[staged.mac] = staged.copied;
        ++(staged.copied.keptBoth ? summary_.keptBoth : summary_.copied);
        summary_.done.push_back(wholeActions[i]);
        continue;
      }
      summary_.failures.push_back(
          {staged.mac, failure.value_or(fmt::format("'{}' is taken",
                                                    RemotePath::escapedForDisplay(staged.to)))});
    }
    save();
    clearJournal();
  }

  const AdbFiles& files_;
  const Options& options_;
  ReadingFolderSyncObserver* observer_;
  std::string tabletFolder_;
  ReadingFolderManifest manifest_;
  Journal journal_;
  ReadingTree tree_;
  std::map<std::string, const ReadingTree::Item*> lowered_;
  std::map<std::string, const MacFile*> macFiles_;
  ReadingFolderSummary summary_;
  ReadingFolderSyncEvent event_;
  bool waiting_ = false;        // the action under way waits to be published
  bool folderMissing_ = false;  // the tablet folder is not made yet
  // New copies waiting to be sent together, with their actions.
  struct Waiting {
    std::string mac;
    std::string to;  // relative to the tablet folder
    bool keptBoth = false;
  };
  std::vector<Waiting> pending_;
  std::int64_t pendingBytes_ = 0;
  std::vector<Plan::Action> waitingActions_;
};

}  // namespace

ReadingFolderPlan preview(const AdbFiles& files, const Options& options) {
  Run run(files, options, nullptr);
  return run.plan(run.loadRecord(), false).plan;
}

ReadingFolderSummary run(const AdbFiles& files, const Options& options,
                         ReadingFolderSyncObserver* observer) {
  return Run(files, options, observer).run();
}

}  // namespace lumivale::ReadingFolderSync
