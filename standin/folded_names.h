#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace lumivale::standin {

// Calls `visit` with each name in the folder `folder` below `root` ("." and ".." too) while
// it returns true; fails with an errno.
int forEachName(int root, const std::string& folder, const std::function<bool(const char*)>& visit);

// A name that comes into its folder, leaves it, or stays while the folder changes (an
// exchange); `path` is its stored path ("a.pdf", "Docs/a.pdf").
struct NameChange {
  enum Kind { added, removed, kept };
  Kind kind;
  std::string path;
};

// The names of folders below `root` folded to lower case (A-Z), so that a name is found in
// any case without reading its folder each time. A folder is read on its first miss and its
// index kept while the folder's stamp (inode, size, times) stays as it was then: whatever
// changes its names straight in the backing folder changes the stamp, and the folder is read
// again. Changes made through `change` update the indexes in place. Only the folders used
// last are kept. Safe to call from several threads.
class FoldedNames {
 public:
  explicit FoldedNames(int root) : root_(root) {}

  // The stored spelling of any case of `name` in the stored folder `folder`: 0, or ENOENT or
  // another errno.
  int match(const std::string& folder, std::string_view name, std::string& stored);

  // Runs `action`, which makes `changes` in that order, and returns what it returns: the
  // folders' indexes follow when it succeeds and they were up to date, else they are dropped.
  int change(const std::vector<NameChange>& changes, const std::function<int()>& action);

 private:
  struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0;  // nanoseconds
    std::int64_t changed = 0;
    bool operator==(const Stamp&) const = default;
  };
  struct Index {
    Stamp stamp;
    std::unordered_multimap<std::string, std::string> spellings;  // folded -> stored
    std::uint64_t lastUse = 0;
  };

  std::optional<Stamp> stampOf(const std::string& folder, bool& reliable);
  int read(const std::string& folder, Index& index, bool& reliable);
  void keep(const std::string& folder, Index index);
  void forgetFrom(const std::string& path);
  static void apply(Index& index, const NameChange& change);

  static constexpr std::size_t maxFolders = 64;

  int root_;
  std::mutex mutex_;
  std::unordered_map<std::string, Index> indexes_;
  std::uint64_t uses_ = 0;
  bool fineStamps_ = false;
};

}  // namespace lumivale::standin
