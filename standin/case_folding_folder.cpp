#include "standin/case_folding_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "core/error.h"
#include "core/files/remote_path.h"

namespace lumivale::standin {
namespace {

std::string_view relative(std::string_view path) {
  while (path.starts_with('/'))
    path.remove_prefix(1);
  return path;
}

}  // namespace

CaseFoldingFolder::CaseFoldingFolder(const std::string& path)
    : fd_(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), names_(fd_.get()) {
  if (!fd_)
    throw Error(fmt::format("cannot open the storage folder {}: {}", path, std::strerror(errno)));
}

std::string CaseFoldingFolder::join(const std::string& folder, const std::string& name) {
  return folder == "." ? name : folder + "/" + name;
}

int CaseFoldingFolder::match(const std::string& folder, std::string_view name,
                             std::string& stored) const {
  struct stat ignored;
  std::string exact = join(folder, std::string(name));
  if (::fstatat(fd_.get(), exact.c_str(), &ignored, AT_SYMLINK_NOFOLLOW) == 0) {
    stored = std::string(name);
    return 0;
  }
  if (errno != ENOENT) return errno;
  return names_.match(folder, name, stored);
}

int CaseFoldingFolder::find(std::string_view path, std::string& stored) const {
  path = relative(path);
  if (path.empty()) {
    stored = ".";
    return 0;
  }
  // Names are mostly given as stored: one look settles those.
  struct stat ignored;
  std::string exact(path);
  if (::fstatat(fd_.get(), exact.c_str(), &ignored, AT_SYMLINK_NOFOLLOW) == 0) {
    stored = std::move(exact);
    return 0;
  }
  if (errno != ENOENT) return errno;
  std::string folder = ".";
  while (!path.empty()) {
    auto slash = path.find('/');
    std::string name;
    if (int error = match(folder, path.substr(0, slash), name)) return error;
    folder = join(folder, name);
    path = slash == std::string_view::npos ? std::string_view() : relative(path.substr(slash));
  }
  stored = std::move(folder);
  return 0;
}

int CaseFoldingFolder::place(std::string_view path, std::string& folder, std::string& name,
                             bool& taken) const {
  path = relative(path);
  auto slash = path.rfind('/');
  std::string_view leaf = slash == std::string_view::npos ? path : path.substr(slash + 1);
  if (leaf.find_first_of(RemotePath::fatForbidden) != std::string_view::npos) return EINVAL;
  if (int error = find(slash == std::string_view::npos ? "" : path.substr(0, slash), folder))
    return error;
  int error = match(folder, leaf, name);
  taken = error == 0;
  if (error == ENOENT) name = std::string(leaf);
  return taken || error == ENOENT ? 0 : error;
}

}  // namespace lumivale::standin
