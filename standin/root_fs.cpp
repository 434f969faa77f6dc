#include "standin/root_fs.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "core/error.h"

namespace lumivale::standin {
namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  return path;
}

// Splits "/a/b/c" into "/a/b" and "c"; "/" has the leaf ".".
std::pair<std::string, std::string> splitParent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return {".", std::string(path)};
  std::string_view leaf = path.substr(slash + 1);
  // The slash stays with a parent that is the root.
  return {std::string(path.substr(0, std::max<size_t>(slash, 1))),
          std::string(leaf.empty() ? "." : leaf)};
}

}  // namespace

RootFs::RootFs(const std::string& root)
    : root_(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  if (!root_)
    throw Error(fmt::format("cannot open the tablet root {}: {}", root, std::strerror(errno)));
}

UniqueFd RootFs::open(std::string_view path, int flags, mode_t mode) const {
  std::string text(path.empty() ? "." : path);
  open_how how{};
  how.flags = static_cast<uint64_t>(flags | O_CLOEXEC);
  how.mode = (flags & O_CREAT) ? mode : 0;
  how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
  long fd;
  do {
    fd = ::syscall(SYS_openat2, root_.get(), text.c_str(), &how, sizeof how);
  } while (fd < 0 && errno == EAGAIN);
  return UniqueFd(static_cast<int>(fd));
}

UniqueFd RootFs::openParent(std::string_view path, std::string& leaf) const {
  auto [parent, name] = splitParent(path);
  leaf = name;
  return open(parent, O_PATH | O_DIRECTORY);
}

bool RootFs::stat(std::string_view path, struct stat& result) const {
  std::string leaf;
  UniqueFd parent = openParent(path, leaf);
  if (!parent) return false;
  // "." and ".." must not be looked up from the parent: at the root that would leave it.
  bool followLast = leaf == "." || leaf == ".." || (path.size() > 1 && path.back() == '/');
  if (!followLast) return ::fstatat(parent.get(), leaf.c_str(), &result, AT_SYMLINK_NOFOLLOW) == 0;
  UniqueFd target = open(path, O_PATH);
  return target && ::fstat(target.get(), &result) == 0;
}

bool RootFs::makeParents(std::string_view path) const {
  std::string parent = splitParent(path).first;
  for (size_t end = 1; end <= parent.size(); ++end) {
    if (end != parent.size() && parent[end] != '/') continue;
    std::string prefix = parent.substr(0, end);
    if (open(prefix, O_PATH | O_DIRECTORY)) continue;
    std::string leaf;
    UniqueFd above = openParent(prefix, leaf);
    if (!above || (::mkdirat(above.get(), leaf.c_str(), 0777) != 0 && errno != EEXIST))
      return false;
  }
  return true;
}

}  // namespace lumivale::standin
