#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tablet/unique_fd.h"
#include "standin/folded_names.h"

namespace lumivale::standin {

// A folder whose names are found without regard to case (A-Z only, as the
// tablet's storage folds them), while each keeps the case it was stored with.
// Paths are those FUSE hands over ("/", "/Documents/a.pdf"); what comes back is
// the stored spelling relative to the folder ("." for its top), for the *at calls.
class CaseFoldingFolder {
 public:
  explicit CaseFoldingFolder(const std::string& path);

  int fd() const { return fd_.get(); }

  // The stored spelling of an existing path, or an errno (ENOENT, ENOTDIR, ...).
  int find(std::string_view path, std::string& stored) const;

  // For a name about to be made or taken: the stored spelling of its folder, and
  // of the name itself, which is the name as given unless another case of it is there.
  // `taken` tells which. Fails with an errno, EINVAL for a name FAT does not allow.
  int place(std::string_view path, std::string& folder, std::string& name, bool& taken) const;

  // Runs `action`, which makes `changes` to stored names, so that later lookups find them.
  int change(const std::vector<NameChange>& changes, const std::function<int()>& action) const {
    return names_.change(changes, action);
  }

  // "folder/name", or "name" in the top folder.
  static std::string join(const std::string& folder, const std::string& name);

 private:
  // The stored spelling of `name` inside the stored folder `folder`, if any case of it is there.
  int match(const std::string& folder, std::string_view name, std::string& stored) const;

  UniqueFd fd_;
  mutable FoldedNames names_;
};

}  // namespace lumivale::standin
