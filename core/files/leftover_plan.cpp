#include "core/files/leftover_plan.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale {

namespace {

using Does = CleanUpStep::Does;

struct Staged {
  const RemoteEntry* entry;
  Leftover kind;
};

std::string quoted(std::string_view name) {
  return fmt::format("'{}'", RemotePath::escapedForDisplay(name));
}

bool olderThanSafeAge(const RemoteEntry& entry, Timestamp now) {
  return entry.modified && now - *entry.modified > LeftoverPlan::safeAge;
}

std::string whatWithoutRecord(Leftover kind) {
  switch (kind) {
    case Leftover::unfinishedCopy:
      return "an unfinished copy whose name was not recorded";
    case Leftover::unfinishedDelete:
      return "what is left of an item that was being deleted";
    case Leftover::keptCopy:
      return "an old copy set aside while it was being replaced, whose name was not recorded";
    case Leftover::unfinishedRename:
      return "an item part way through a rename, whose name was not recorded";
  }
  return "";
}

std::string whatWithRecord(Leftover kind, const StagingRecord& record) {
  switch (kind) {
    case Leftover::unfinishedCopy:
      return fmt::format("an unfinished copy of {}", quoted(record.name));
    case Leftover::unfinishedDelete:
      return fmt::format("what is left of {}, which was being deleted", quoted(record.name));
    case Leftover::keptCopy:
      return fmt::format("the old {}, set aside while it was being replaced", quoted(record.name));
    case Leftover::unfinishedRename:
      return fmt::format("{}, part way through a rename to {}", quoted(record.name),
                         quoted(record.newName));
  }
  return "";
}

class Planner {
 public:
  explicit Planner(const StagingFolder& folder) : folder_(folder) {
    for (const auto& entry : folder.entries) {
      if (auto staged = StagedName::of(entry.name)) {
        staged_[staged->id].push_back({&entry, staged->kind});
      } else if (entry.name.starts_with(StagingRecord::recordPrefix)) {
        records_.push_back(&entry);
      } else {
        taken_.insert(utf8::asciiLowered(entry.name));
      }
    }
  }

  std::vector<CleanUpStep> run() {
    std::set<std::string> ids;
    for (const auto& [id, items] : staged_)
      ids.insert(id);
    std::map<std::string, const RemoteEntry*> recordFiles;
    for (const RemoteEntry* entry : records_) {
      std::string_view id =
          std::string_view(entry->name).substr(StagingRecord::recordPrefix.size());
      if (id.ends_with(StagingRecord::pendingSuffix)) {
        // A record that was never moved into place: its operation staged nothing with it,
        // and one still writing it fails at the move and stages nothing either.
        id.remove_suffix(StagingRecord::pendingSuffix.size());
        auto record = folder_.records.find(std::string(id));
        const bool abandoned = record == folder_.records.end() || !record->second.running;
        if (abandoned)
          steps_.push_back({Does::erase,
                            entry->name,
                            entry->path,
                            {},
                            {},
                            {},
                            "a staging record that was never finished",
                            {}});
        continue;
      }
      recordFiles[std::string(id)] = entry;
      ids.insert(std::string(id));
    }
    for (const auto& id : ids) {
      auto record = folder_.records.find(id);
      auto file = recordFiles.find(id);
      const auto& items = staged_[id];
      if (record == folder_.records.end()) {
        withoutRecord(id, items);
        continue;
      }
      if (record->second.running) {
        inUse(id, items, record->second.record);
        continue;
      }
      const std::size_t first = steps_.size();
      abandoned(id, items, record->second.record);
      const bool keptAny =
          std::any_of(steps_.begin() + static_cast<std::ptrdiff_t>(first), steps_.end(),
                      [](const CleanUpStep& step) { return step.does == Does::keep; });
      if (!keptAny && file != recordFiles.end())
        steps_.push_back({Does::erase,
                          id,
                          file->second->path,
                          {},
                          {},
                          record->second.record.name,
                          "the staging record of an operation that ended",
                          {}});
    }
    return std::move(steps_);
  }

 private:
  std::string pathOf(std::string_view name) const {
    return folder_.folder + "/" + std::string(name);
  }
  bool isFree(std::string_view name) const { return !taken_.count(utf8::asciiLowered(name)); }
  void take(std::string_view name) { taken_.insert(utf8::asciiLowered(name)); }

  void withoutRecord(const std::string& id, const std::vector<Staged>& items) {
    for (const auto& item : items) {
      CleanUpStep step{
          Does::keep, id, item.entry->path, {}, item.kind, {}, whatWithoutRecord(item.kind), {}};
      const bool erasable =
          item.kind == Leftover::unfinishedCopy || item.kind == Leftover::unfinishedDelete;
      if (erasable && olderThanSafeAge(*item.entry, folder_.now)) {
        step.does = Does::erase;
      } else if (erasable) {
        step.why = "it changed within the last hour, so a program may still be at work on it";
      } else {
        step.why =
            "Lumivale cannot tell which name it belongs to. Rename it to give it a name "
            "again, or delete it";
      }
      steps_.push_back(std::move(step));
    }
  }

  void inUse(const std::string& id, const std::vector<Staged>& items, const StagingRecord& record) {
    for (const auto& item : items) {
      CleanUpStep step = recordedStep(id, item, record);
      step.why = fmt::format("Lumivale is still at work on it (process {} on {})", record.pid,
                             record.host);
      steps_.push_back(std::move(step));
    }
  }

  // A step that keeps `item`, described by its record, for the caller to change.
  static CleanUpStep recordedStep(const std::string& id, const Staged& item,
                                  const StagingRecord& record) {
    return {Does::keep,
            id,
            item.entry->path,
            {},
            item.kind,
            record.name,
            whatWithRecord(item.kind, record),
            {}};
  }

  void abandoned(const std::string& id, const std::vector<Staged>& items,
                 const StagingRecord& record) {
    const Staged* kept = nullptr;
    const Staged* partial = nullptr;
    for (const auto& item : items) {
      CleanUpStep step = recordedStep(id, item, record);
      using Operation = StagingRecord::Operation;
      if (item.kind == Leftover::unfinishedRename && record.operation == Operation::rename) {
        renamed(std::move(step), record);
      } else if (item.kind == Leftover::unfinishedDelete && record.operation == Operation::remove) {
        step.does = Does::erase;
        steps_.push_back(std::move(step));
      } else if (item.kind == Leftover::keptCopy && record.operation == Operation::copy) {
        kept = &item;
      } else if (item.kind == Leftover::unfinishedCopy && record.operation == Operation::copy) {
        partial = &item;
      } else {
        step.what = whatWithoutRecord(item.kind);
        step.why =
            "its record names another operation, so Lumivale cannot tell which name it "
            "belongs to. Rename it to give it a name again, or delete it";
        steps_.push_back(std::move(step));
      }
    }
    copied(id, kept, partial, record);
  }

  void renamed(CleanUpStep step, const StagingRecord& record) {
    if (isFree(record.name)) {
      step.does = Does::putBack;
      step.to = pathOf(record.name);
      take(record.name);
    } else if (isFree(record.newName)) {
      step.does = Does::putUnderNewName;
      step.to = pathOf(record.newName);
      step.why = fmt::format("{} is taken", quoted(record.name));
      take(record.newName);
    } else {
      step.why = fmt::format("both {} and {} are taken. Rename it yourself", quoted(record.name),
                             quoted(record.newName));
    }
    steps_.push_back(std::move(step));
  }

  void copied(const std::string& id, const Staged* kept, const Staged* partial,
              const StagingRecord& record) {
    auto stepFor = [&](const Staged& item) { return recordedStep(id, item, record); };
    if (kept) {
      CleanUpStep step = stepFor(*kept);
      if (isFree(record.name)) {
        step.does = Does::putBack;
        step.to = pathOf(record.name);
        take(record.name);
      } else if (!partial) {
        step.does = Does::erase;
        step.why = "the new copy took its name";
      } else {
        step.why = fmt::format(
            "something else now has the name {}. Rename it to give it back its "
            "name, or delete it",
            quoted(record.name));
      }
      const bool oldStays = step.does == Does::keep;
      steps_.push_back(std::move(step));
      if (!partial) return;
      CleanUpStep copy = stepFor(*partial);
      if (oldStays)
        copy.why = "the old copy it was to replace is still set aside";
      else
        copy.does = Does::erase;
      steps_.push_back(std::move(copy));
      return;
    }
    if (partial) {
      CleanUpStep copy = stepFor(*partial);
      copy.does = Does::erase;
      steps_.push_back(std::move(copy));
    }
  }

  const StagingFolder& folder_;
  std::map<std::string, std::vector<Staged>> staged_;
  std::vector<const RemoteEntry*> records_;
  std::set<std::string> taken_;
  std::vector<CleanUpStep> steps_;
};

}  // namespace

std::string CleanUpStep::sentence() const {
  const std::string where = RemotePath::escapedForDisplay(path);
  const std::string toName = quoted(RemotePath::name(to));
  switch (does) {
    case Does::putBack:
      return fmt::format("{} is {}; clean-up puts it back as {}", where, what, toName);
    case Does::putUnderNewName:
      return fmt::format("{} is {}; {}, so clean-up puts it under its new name {}", where, what,
                         why, toName);
    case Does::erase:
      return why.empty() ? fmt::format("{} is {}; clean-up erases it", where, what)
                         : fmt::format("{} is {}; clean-up erases it, since {}", where, what, why);
    case Does::keep:
      return fmt::format("{} is {}; it is kept: {}", where, what, why);
  }
  return where;
}

namespace LeftoverPlan {

std::vector<CleanUpStep> steps(const StagingFolder& folder) {
  return Planner(folder).run();
}

std::vector<LeftoverItem> items(const StagingFolder& folder) {
  std::vector<LeftoverItem> out;
  const auto planned = steps(folder);
  for (const auto& entry : folder.entries) {
    auto staged = StagedName::of(entry.name);
    if (!staged) continue;
    LeftoverItem item{entry, staged->kind, std::nullopt, {}};
    for (const auto& step : planned) {
      if (step.path != entry.path) continue;
      item.belongsTo = step.belongsTo;
      item.about = step.sentence();
    }
    out.push_back(std::move(item));
  }
  std::sort(out.begin(), out.end(), [](const LeftoverItem& a, const LeftoverItem& b) {
    return a.entry.name < b.entry.name;
  });
  return out;
}

std::vector<CleanUpStep> sweep(const StagingFolder& folder) {
  const auto planned = steps(folder);
  std::set<std::string> needed;
  for (const auto& step : planned) {
    const bool partOfACopy = !step.kind || step.kind == Leftover::unfinishedCopy;
    if (step.does != Does::erase || !partOfACopy) needed.insert(step.id);
  }
  std::vector<CleanUpStep> out;
  for (const auto& step : planned) {
    if (!needed.count(step.id)) out.push_back(step);
  }
  return out;
}

}  // namespace LeftoverPlan

}  // namespace lumivale
