#include "standin/folded_names.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "core/tablet/unique_fd.h"

namespace lumivale::standin {
namespace {

constexpr std::int64_t oneSecond = 1'000'000'000;

std::string folded(std::string_view name) {
  std::string result(name);
  for (char& each : result)
    if (each >= 'A' && each <= 'Z') each = static_cast<char>(each - 'A' + 'a');
  return result;
}

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * oneSecond + time.tv_nsec;
}

std::int64_t coarseNow() {
  timespec now;
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return nanoseconds(now);
}

// The stored folder and name of a stored path.
std::pair<std::string, std::string> split(const std::string& path) {
  auto slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {path.substr(0, slash), path.substr(slash + 1)};
}

}  // namespace

int forEachName(int root, const std::string& folder,
                const std::function<bool(const char*)>& visit) {
  UniqueFd fd(::openat(root, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd) return errno;
  DIR* entries = ::fdopendir(fd.get());
  if (!entries) return errno;
  fd.release();
  while (const dirent* entry = ::readdir(entries))
    if (!visit(entry->d_name)) break;
  ::closedir(entries);
  return 0;
}

// A stamp is `reliable` when any later change to the folder's names is sure to change it. A
// file system that stamps changes with the coarse clock gives every change within one tick
// (or within its granularity, up to a second) the same time, so only a folder left unchanged
// for a second is sure. One that gives a change after a look a finer time than the coarse
// clock's (Linux 6.13 on) shows every later change.
std::optional<FoldedNames::Stamp> FoldedNames::stampOf(const std::string& folder, bool& reliable) {
  std::int64_t before = coarseNow();
  struct stat attributes;
  if (::fstatat(root_, folder.c_str(), &attributes, 0) != 0) return std::nullopt;
  Stamp stamp{attributes.st_dev, attributes.st_ino, attributes.st_size,
              nanoseconds(attributes.st_mtim), nanoseconds(attributes.st_ctim)};
  if (stamp.changed > coarseNow()) fineStamps_ = true;
  reliable = fineStamps_ || stamp.changed + oneSecond < before;
  return stamp;
}

// The stamp is taken first: whatever changes while the folder is read then shows.
int FoldedNames::read(const std::string& folder, Index& index, bool& reliable) {
  std::optional<Stamp> stamp = stampOf(folder, reliable);
  if (!stamp) return errno;
  index.stamp = *stamp;
  return forEachName(root_, folder, [&](const char* name) {
    std::string_view each(name);
    if (each != "." && each != "..") index.spellings.emplace(folded(each), each);
    return true;
  });
}

void FoldedNames::keep(const std::string& folder, Index index) {
  if (indexes_.size() >= maxFolders && !indexes_.contains(folder)) {
    auto oldest = std::min_element(indexes_.begin(), indexes_.end(), [](auto& a, auto& b) {
      return a.second.lastUse < b.second.lastUse;
    });
    indexes_.erase(oldest);
  }
  indexes_.insert_or_assign(folder, std::move(index));
}

int FoldedNames::match(const std::string& folder, std::string_view name, std::string& stored) {
  std::lock_guard lock(mutex_);
  bool reliable = false;
  auto kept = indexes_.find(folder);
  Index read;
  Index* index = nullptr;
  if (kept != indexes_.end() && stampOf(folder, reliable) == kept->second.stamp) {
    index = &kept->second;
  } else {
    if (kept != indexes_.end()) indexes_.erase(kept);
    if (int error = this->read(folder, read, reliable)) return error;
    index = &read;
  }
  index->lastUse = ++uses_;
  auto spelling = index->spellings.find(folded(name));
  int result = spelling == index->spellings.end() ? ENOENT : 0;
  if (result == 0) stored = spelling->second;
  if (index == &read && reliable) keep(folder, std::move(read));
  return result;
}

// An index keyed by an item that goes or moves would name another folder, or none.
void FoldedNames::forgetFrom(const std::string& path) {
  std::erase_if(indexes_, [&](const auto& each) {
    const std::string& folder = each.first;
    return folder.starts_with(path) && (folder.size() == path.size() || folder[path.size()] == '/');
  });
}

void FoldedNames::apply(Index& index, const NameChange& change) {
  std::string name = split(change.path).second;
  auto [first, last] = index.spellings.equal_range(folded(name));
  auto same = std::find_if(first, last, [&](const auto& each) { return each.second == name; });
  if (change.kind == NameChange::removed && same != last) index.spellings.erase(same);
  if (change.kind == NameChange::added && same == last) index.spellings.emplace(folded(name), name);
}

// Changes are made one at a time under the lock, so an index that was up to date before one
// is up to date after it with the change applied. What the backing folder gets straight in
// that instant is not seen: it is not told from the change itself. Every folder touched is
// looked at before and after, also one without an index: that look is what gets the change
// a fine-grained stamp, and shows whether the file system gives them.
int FoldedNames::change(const std::vector<NameChange>& changes,
                        const std::function<int()>& action) {
  std::lock_guard lock(mutex_);
  std::vector<std::pair<std::string, bool>> folders;  // and whether its index was up to date
  for (const NameChange& each : changes) {
    std::string folder = split(each.path).first;
    if (std::any_of(folders.begin(), folders.end(),
                    [&](auto& seen) { return seen.first == folder; }))
      continue;
    bool reliable = false;
    std::optional<Stamp> before = stampOf(folder, reliable);
    auto kept = indexes_.find(folder);
    folders.emplace_back(folder, kept != indexes_.end() && before == kept->second.stamp);
  }
  int result = action();
  for (const NameChange& each : changes)
    forgetFrom(each.path);
  for (const auto& [folder, current] : folders) {
    bool reliable = false;
    std::optional<Stamp> after = stampOf(folder, reliable);
    auto kept = indexes_.find(folder);
    if (kept == indexes_.end()) continue;
    if (!current || result != 0 || !after || !reliable) {
      indexes_.erase(kept);
      continue;
    }
    for (const NameChange& each : changes)
      if (split(each.path).first == folder) apply(kept->second, each);
    kept->second.stamp = *after;
  }
  return result;
}

}  // namespace lumivale::standin
