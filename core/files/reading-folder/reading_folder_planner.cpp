#include "core/files/reading-folder/reading_folder_planner.h"

#include <algorithm>
#include <map>
#include <set>

#include "core/files/utf8.h"

namespace lumivale::ReadingFolderPlanner {

namespace {

using Plan = ReadingFolderPlan;
using CopiedFile = ReadingFolderManifest::CopiedFile;

// What became of a tablet copy since it was copied.
enum class TabletCopy { missing, unchanged, changed, unknown, uncheckable };

bool isInside(const std::string& path, const std::string& folder) {
  return folder.empty() || path == folder || path.starts_with(folder + "/");
}

// "a/b/" of "a/b/c.pdf", "" of "c.pdf".
std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string nameOf(const std::string& path) {
  return path.substr(folderOf(path).size());
}

std::string tabletPathOf(const std::string& macPath) {
  std::string out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t slash = macPath.find('/', start);
    out += ReadingFolderNames::tabletName(macPath.substr(start, slash - start));
    if (slash == std::string::npos) return out;
    out += '/';
    start = slash + 1;
  }
}

class Planning {
 public:
  Planning(const MacScan& scan, const ReadingFolderManifest& manifest, const ReadingTree& tree,
           bool removeDeleted)
      : scan_(scan), manifest_(manifest), tree_(tree), removeDeleted_(removeDeleted) {
    for (const auto& [tabletPath, macPath] : scan.localPaths)
      tabletOf_[macPath] = tabletPath;
    for (const MacFile& file : scan.files) {
      present_.insert(file.path);
      taken_.insert(utf8::asciiLowered(tabletOf(file.path)));
    }
    for (const auto& [path, item] : tree.items) {
      onTablet_[utf8::asciiLowered(path)] = path;
      taken_.insert(utf8::asciiLowered(path));
    }
    for (const auto& [macPath, copied] : manifest.files) {
      recordedOnTablet_.insert(utf8::asciiLowered(copied.tabletPath));
      if (!copied.keptBoth.value_or(false) && !copied.removedOnTablet.value_or(false)) {
        recordsByTabletName_[utf8::asciiLowered(copied.tabletPath)].push_back(macPath);
      }
    }
    for (const ReadingFolderNote& note : scan.skipped) {
      notedMac_.push_back(note.path);
      notedTablet_.push_back(utf8::asciiLowered(tabletPathOf(note.path)));
    }
  }

  Plan run() {
    plan_.notes = scan_.skipped;
    if (scan_.overLimit) {
      plan_.notes.push_back({"", *scan_.overLimit});
      return std::move(plan_);
    }
    findBlockedFolders();
    for (const MacFile& file : scan_.files)
      planFile(file);
    planNewFolders();
    planMissingFiles();
    planMissingFolders();
    order();
    return std::move(plan_);
  }

  std::vector<std::string> digestsNeeded() {
    run();
    return {needed_.begin(), needed_.end()};
  }

 private:
  // The tablet path of a computer file or folder of the scan.
  std::string tabletOf(const std::string& macPath) const {
    const auto found = tabletOf_.find(macPath);
    return found != tabletOf_.end() ? found->second : tabletPathOf(macPath);
  }

  const ReadingTree::Item* onTablet(const std::string& path, std::string* actual = nullptr) const {
    const auto found = onTablet_.find(utf8::asciiLowered(path));
    if (found == onTablet_.end()) return nullptr;
    if (actual != nullptr) *actual = found->second;
    return &tree_.items.at(found->second);
  }

  // The tablet file at `path` holds the bytes of `sha256`: true, false, or absent until
  // its digest is known.
  std::optional<bool> holds(const std::string& path, const ReadingTree::Item& item,
                            std::int64_t size, const std::string& sha256) {
    if (item.isFolder || item.size != size) return false;
    if (item.sha256) return *item.sha256 == sha256;
    if (tree_.hashSupported) needed_.insert(path);
    return std::nullopt;
  }

  TabletCopy stateOf(const CopiedFile& copied) {
    std::string path;
    const ReadingTree::Item* item = onTablet(copied.tabletPath, &path);
    if (item == nullptr) return TabletCopy::missing;
    if (item->isFolder || item->size != copied.tabletSize) return TabletCopy::changed;
    if (copied.tabletModified && item->modified == copied.tabletModified) {
      return TabletCopy::unchanged;
    }
    const std::optional<bool> same = holds(path, *item, copied.tabletSize, copied.sha256);
    if (same) return *same ? TabletCopy::unchanged : TabletCopy::changed;
    return tree_.hashSupported ? TabletCopy::unknown : TabletCopy::uncheckable;
  }

  bool isBlocked(const std::string& tabletPath) const {
    return std::ranges::any_of(blocked_, [&](const std::string& folder) {
      return isInside(utf8::asciiLowered(tabletPath), folder);
    });
  }

  // Folders where a tablet file holds the name: nothing goes into them.
  void findBlockedFolders() {
    for (const std::string& macFolder : scan_.folders) {
      const std::string path = tabletOf(macFolder);
      if (isBlocked(path)) continue;
      const ReadingTree::Item* item = onTablet(path);
      if (item != nullptr && !item->isFolder) {
        plan_.notes.push_back({macFolder, std::string(NoteText::fileHasFolderName)});
        blocked_.push_back(utf8::asciiLowered(path));
      }
    }
  }

  // A computer folder missing on the tablet is made, unless it is one the Reading folder
  // made before (the user deleted it there) and nothing is copied into it now.
  void planNewFolders() {
    const std::set<std::string> recorded(manifest_.folders.begin(), manifest_.folders.end());
    std::vector<std::string> missing;
    for (const std::string& macFolder : scan_.folders) {
      const std::string path = tabletOf(macFolder);
      if (!isBlocked(path) && onTablet(path) == nullptr) missing.push_back(path);
    }
    for (const std::string& path : missing) {
      const std::string key = utf8::asciiLowered(path) + "/";
      const bool needed =
          !recorded.contains(path) || std::ranges::any_of(copyTargets_, [&](const std::string& to) {
            return to.starts_with(key);
          });
      if (!needed) continue;
      for (const std::string& parent : missing) {
        if (isInside(path, parent) && madeFolders_.insert(parent).second) {
          makeFolders_.push_back(Plan::MakeFolder{parent});
        }
      }
    }
    std::ranges::sort(makeFolders_, {}, &Plan::MakeFolder::path);
  }

  void keepBoth(const MacFile& file, const std::string& beside, const std::string& natural) {
    const std::string as = fromMacName(natural, taken_);
    const std::size_t slash = natural.rfind('/');
    taken_.insert(
        utf8::asciiLowered((slash == std::string::npos ? "" : natural.substr(0, slash + 1)) + as));
    copyTargets_.push_back(utf8::asciiLowered(beside));
    copies_.push_back({file.path, Plan::KeepBoth{file.path, beside, as}});
  }

  // A computer file with no copy on the tablet to keep up to date.
  void planNew(const MacFile& file, const std::string& to) {
    std::string actual;
    const ReadingTree::Item* item = onTablet(to, &actual);
    if (item == nullptr) {
      copyTargets_.push_back(utf8::asciiLowered(to));
      copies_.push_back({file.path, Plan::Copy{file.path, to, false}});
      return;
    }
    // Another file's copy is never taken over, even when it holds the same bytes.
    if (!recordedOnTablet_.contains(utf8::asciiLowered(actual)) && file.sha256) {
      const std::optional<bool> same = holds(actual, *item, file.size, *file.sha256);
      if (same.value_or(false)) {
        copies_.push_back({file.path, Plan::Adopt{file.path, actual}});
        return;
      }
    }
    keepBoth(file, actual, to);
  }

  static bool changedOnMac(const MacFile& file, const CopiedFile& copied) {
    if (file.size != copied.size) return true;
    return file.sha256 ? *file.sha256 != copied.sha256 : file.modified != copied.modified;
  }

  void touchIfRestamped(const MacFile& file, const std::string& oldMac, const CopiedFile& copied) {
    if (oldMac != file.path || file.modified != copied.modified || file.inode != copied.inode ||
        file.changed != copied.changed) {
      plan_.bookkeeping.push_back(Plan::Touch{file.path, oldMac, file.size, file.modified});
    } else {
      ++plan_.unchanged;
    }
  }

  // A computer file whose record is under another name that is the same on the tablet.
  std::optional<std::string> renamedFrom(const MacFile& file, const std::string& to) {
    const auto records = recordsByTabletName_.find(utf8::asciiLowered(to));
    if (records == recordsByTabletName_.end()) return std::nullopt;
    for (const std::string& macPath : records->second) {
      if (macPath == file.path || present_.contains(macPath) || consumed_.contains(macPath) ||
          isNoted(macPath)) {
        continue;
      }
      if (stateOf(manifest_.files.at(macPath)) == TabletCopy::unchanged) return macPath;
    }
    return std::nullopt;
  }

  void planFile(const MacFile& file) {
    const std::string to = tabletOf(file.path);
    if (isBlocked(to)) {
      ++plan_.held;
      return;
    }
    const auto record = manifest_.files.find(file.path);
    if (record == manifest_.files.end()) {
      if (const auto oldMac = renamedFrom(file, to)) {
        const CopiedFile& copied = manifest_.files.at(*oldMac);
        consumed_.insert(*oldMac);
        // The folders on the way keep the tablet's spelling; only the name is renamed.
        const std::string renamed = folderOf(copied.tabletPath) + nameOf(to);
        if (copied.tabletPath != renamed) {
          renames_.push_back(Plan::RenameCase{copied.tabletPath, renamed, file.path});
        }
        if (changedOnMac(file, copied)) {
          plan_.bookkeeping.push_back(
              Plan::Touch{file.path, *oldMac, copied.size, copied.modified});
          copies_.push_back({file.path, Plan::Copy{file.path, to, true}});
        } else {
          plan_.bookkeeping.push_back(Plan::Touch{file.path, *oldMac, file.size, file.modified});
        }
        return;
      }
      planNew(file, to);
      return;
    }
    const CopiedFile& copied = record->second;
    const bool changed = changedOnMac(file, copied);
    if (copied.removedOnTablet.value_or(false)) {
      if (changed) {
        planNew(file, to);
      } else {
        ++plan_.unchanged;
      }
      return;
    }
    switch (stateOf(copied)) {
      case TabletCopy::missing:
        if (changed) {
          planNew(file, to);
        } else {
          plan_.notes.push_back({file.path, std::string(NoteText::deletedOnTablet)});
          plan_.bookkeeping.push_back(Plan::RemovedOnTablet{file.path});
        }
        return;
      case TabletCopy::unchanged:
        if (changed) {
          copies_.push_back({file.path, Plan::Copy{file.path, copied.tabletPath, true}});
        } else {
          touchIfRestamped(file, file.path, copied);
        }
        return;
      case TabletCopy::changed:
      case TabletCopy::unknown:
      case TabletCopy::uncheckable:
        if (changed) {
          std::string beside;
          onTablet(copied.tabletPath, &beside);
          keepBoth(file, beside, to);
          ++plan_.held;
        } else {
          touchIfRestamped(file, file.path, copied);
        }
        return;
    }
  }

  bool isNoted(const std::string& macPath) const {
    return std::ranges::any_of(notedMac_,
                               [&](const std::string& noted) { return isInside(macPath, noted); });
  }

  void planMissingFiles() {
    if (!scan_.complete) return;
    for (const auto& [macPath, copied] : manifest_.files) {
      if (present_.contains(macPath) || consumed_.contains(macPath) || isNoted(macPath)) continue;
      const TabletCopy state =
          copied.removedOnTablet.value_or(false) ? TabletCopy::missing : stateOf(copied);
      std::string at;
      onTablet(copied.tabletPath, &at);
      if (state == TabletCopy::missing) {
        plan_.bookkeeping.push_back(Plan::Forget{macPath, std::nullopt});
      } else if (!removeDeleted_) {
        plan_.bookkeeping.push_back(Plan::Forget{macPath, at});
      } else if (state == TabletCopy::unchanged) {
        removes_.push_back(Plan::Remove{macPath, at});
        removed_.insert(utf8::asciiLowered(at));
      } else if (state == TabletCopy::changed || state == TabletCopy::uncheckable) {
        plan_.notes.push_back(
            {macPath, std::string(state == TabletCopy::changed ? NoteText::keptChangedOnTablet
                                                               : NoteText::keptUncheckable)});
        plan_.bookkeeping.push_back(Plan::Forget{macPath, at});
      }
    }
  }

  bool isNotedOnTablet(const std::string& tabletPath) const {
    const std::string key = utf8::asciiLowered(tabletPath);
    return std::ranges::any_of(notedTablet_,
                               [&](const std::string& noted) { return isInside(key, noted); });
  }

  void planMissingFolders() {
    if (!scan_.complete) return;
    std::set<std::string> here;
    for (const std::string& macFolder : scan_.folders) {
      here.insert(utf8::asciiLowered(tabletOf(macFolder)));
    }
    std::set<std::string> going;
    std::vector<std::string> gone;
    for (const std::string& folder : manifest_.folders) {
      if (here.contains(utf8::asciiLowered(folder)) || isNotedOnTablet(folder)) continue;
      const ReadingTree::Item* item = onTablet(folder);
      if (!removeDeleted_ || item == nullptr || !item->isFolder) {
        plan_.bookkeeping.push_back(Plan::ForgetFolder{folder});
      } else {
        gone.push_back(folder);
        going.insert(utf8::asciiLowered(folder));
      }
    }
    // Deepest first, so that a folder holding only removed folders goes too.
    std::ranges::sort(gone, [](const std::string& a, const std::string& b) {
      return std::ranges::count(a, '/') > std::ranges::count(b, '/') ||
             (std::ranges::count(a, '/') == std::ranges::count(b, '/') && a < b);
    });
    for (const std::string& folder : gone) {
      const std::string key = utf8::asciiLowered(folder);
      const bool holdsOthers = std::ranges::any_of(tree_.items, [&](const auto& entry) {
        const std::string item = utf8::asciiLowered(entry.first);
        return item != key && isInside(item, key) && !removed_.contains(item) &&
               !going.contains(item);
      });
      if (holdsOthers) {
        going.erase(key);
        plan_.notes.push_back({folder, std::string(NoteText::folderStillHolds)});
        plan_.bookkeeping.push_back(Plan::ForgetFolder{folder});
      } else {
        removeFolders_.push_back(Plan::RemoveFolder{folder});
      }
    }
  }

  void order() {
    for (auto& rename : renames_)
      plan_.actions.push_back(std::move(rename));
    for (auto& remove : removes_)
      plan_.actions.push_back(std::move(remove));
    for (auto& folder : makeFolders_)
      plan_.actions.push_back(std::move(folder));
    std::ranges::stable_sort(copies_, {}, &std::pair<std::string, Plan::Action>::first);
    for (auto& copy : copies_)
      plan_.actions.push_back(std::move(copy.second));
    for (auto& folder : removeFolders_)
      plan_.actions.push_back(std::move(folder));
  }

  const MacScan& scan_;
  const ReadingFolderManifest& manifest_;
  const ReadingTree& tree_;
  const bool removeDeleted_;

  std::map<std::string, std::string> tabletOf_;  // computer path to tablet path
  std::map<std::string, std::string> onTablet_;  // lower-cased tablet path to its spelling
  std::set<std::string> taken_;                  // lower-cased tablet paths in use
  std::set<std::string> recordedOnTablet_;       // lower-cased tablet paths of copies
  std::vector<std::string> notedMac_;
  std::vector<std::string> notedTablet_;
  std::vector<std::string> blocked_;  // lower-cased folders a tablet file stands in for
  std::set<std::string> consumed_;    // records that followed a rename
  std::set<std::string> removed_;     // lower-cased tablet paths removed by this plan
  std::set<std::string> needed_;
  std::set<std::string> present_;  // computer files of the scan
  std::map<std::string, std::vector<std::string>> recordsByTabletName_;
  std::vector<std::string> copyTargets_;  // lower-cased tablet paths that get a new file
  std::set<std::string> madeFolders_;

  Plan plan_;
  std::vector<Plan::RenameCase> renames_;
  std::vector<Plan::Remove> removes_;
  std::vector<Plan::MakeFolder> makeFolders_;
  std::vector<std::pair<std::string, Plan::Action>> copies_;
  std::vector<Plan::RemoveFolder> removeFolders_;
};

}  // namespace

ReadingFolderPlan plan(const MacScan& scan, const ReadingFolderManifest& manifest,
                       const ReadingTree& tree, bool removeDeleted) {
  return Planning(scan, manifest, tree, removeDeleted).run();
}

std::vector<std::string> digestsNeeded(const MacScan& scan, const ReadingFolderManifest& manifest,
                                       const ReadingTree& tree, bool removeDeleted) {
  return Planning(scan, manifest, tree, removeDeleted).digestsNeeded();
}

}  // namespace lumivale::ReadingFolderPlanner
