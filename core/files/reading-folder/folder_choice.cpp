#include "core/files/reading-folder/folder_choice.h"

#include <algorithm>
#include <array>
#include <system_error>

#include <fmt/format.h>

#include "core/files/reading-folder/reading_folder_error.h"
#include "core/files/remote_path.h"

namespace lumivale::ReadingFolderChoice {

namespace fs = std::filesystem;

namespace {

// System folders refused together with everything inside them.
constexpr std::array<std::string_view, 19> systemTrees{
    "/bin",    "/boot",    "/dev",     "/etc",          "/lib",  "/lib32", "/lib64",
    "/libx32", "/proc",    "/run",     "/sbin",         "/sys",  "/usr",   "/var",
    "/System", "/Library", "/private", "/Applications", "/cores"};
// System folders refused themselves; what is inside them may be a user's (a mounted disk,
// a scratch folder).
constexpr std::array<std::string_view, 9> systemTops{
    "/media", "/mnt", "/opt", "/srv", "/tmp", "/snap", "/lost+found", "/Volumes", "/root"};
// Folders that hold people's home folders.
constexpr std::array<std::string_view, 2> homesFolders{"/home", "/Users"};

// The top folders of the common sync clients, directly inside the home folder.
constexpr std::array<std::string_view, 12> cloudTops{
    "Dropbox",  "OneDrive", "Google Drive", "GoogleDrive", "pCloudDrive", "Nextcloud",
    "ownCloud", "MEGA",     "Sync",         "Insync",      "Box",         "iCloudDrive"};
// Folders whose every child is the top of a cloud folder (iCloud Drive, file providers).
constexpr std::array<std::string_view, 2> cloudParents{"Library/Mobile Documents",
                                                       "Library/CloudStorage"};

bool isInside(const fs::path& path, const fs::path& folder) {
  auto [end, inner] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
  return end == folder.end();
}

std::string displayName(const fs::path& folder) {
  return folder.has_filename() ? folder.filename().string() : folder.string();
}

[[noreturn]] void tooBig(const fs::path& folder) {
  throw ReadingFolderError(fmt::format(
      "{} is too big to be a reading folder; choose a folder of documents, such as one inside "
      "Documents",
      displayName(folder)));
}

[[noreturn]] void systemFolder(const fs::path& folder) {
  throw ReadingFolderError(
      fmt::format("{} is one of the Mac’s own folders; choose a folder of documents instead",
                  displayName(folder)));
}

bool isCloudTop(const fs::path& folder, const fs::path& home) {
  if (!isInside(folder, home) || folder == home) return false;
  const fs::path inHome = folder.lexically_relative(home);
  const std::string first = inHome.begin()->string();
  const bool oneDeep = std::next(inHome.begin()) == inHome.end();
  if (oneDeep && (std::ranges::find(cloudTops, first) != cloudTops.end() ||
                  first.starts_with("Dropbox (") || first.starts_with("OneDrive - "))) {
    return true;
  }
  for (std::string_view parent : cloudParents) {
    const fs::path holder = home / parent;
    if (folder == holder || folder.parent_path() == holder) return true;
  }
  return false;
}

}  // namespace

fs::path macFolder(const fs::path& chosen, const fs::path& home) {
  std::error_code error;
  const fs::path folder = fs::canonical(fs::absolute(chosen), error);
  if (error || !fs::is_directory(folder, error)) {
    throw ReadingFolderError(fmt::format(
        "{} is not a folder on this Mac; choose a folder of documents", chosen.string()));
  }
  fs::path ownHome = fs::weakly_canonical(home, error);
  if (error) ownHome = home;

  if (!folder.has_relative_path() || isInside(ownHome, folder)) tooBig(folder);
  for (std::string_view homes : homesFolders) {
    if (folder == fs::path(homes)) tooBig(folder);
  }
  for (std::string_view tree : systemTrees) {
    if (isInside(folder, fs::path(tree))) systemFolder(folder);
  }
  for (std::string_view top : systemTops) {
    if (folder == fs::path(top)) systemFolder(folder);
  }
  if (isCloudTop(folder, ownHome)) {
    throw ReadingFolderError(
        "choose a folder inside iCloud Drive or the cloud folder, not all of it");
  }
  return folder;
}

std::string tabletFolder(std::string_view chosen) {
  const std::string folder = RemotePath::resolve(chosen);
  if (RemotePath::isRoot(folder)) {
    throw ReadingFolderError("choose a folder on the Lumivale, not the whole of its storage");
  }
  for (const auto& part : fs::path(folder)) {
    const std::string name = part.string();
    if (name.starts_with('.')) {
      throw ReadingFolderError(
          fmt::format("the folder on the Lumivale cannot be a hidden one ('{}')", name));
    }
  }
  return folder;
}

}  // namespace lumivale::ReadingFolderChoice
