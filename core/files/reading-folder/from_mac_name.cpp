#include <fmt/format.h>

#include "core/files/reading-folder/reading_folder_planner.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"

namespace lumivale::ReadingFolderPlanner {

std::string fromMacName(const std::string& path, const std::set<std::string>& taken) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  const std::string name = path.substr(folder.size());
  const std::size_t dot = name.rfind('.');
  // A long tail after the last dot is part of the name, not an extension to keep whole.
  const bool hasExtension = dot != std::string::npos && dot > 0 && name.size() - dot <= 32;
  const std::string extension = hasExtension ? name.substr(dot) : "";
  const std::string stem = name.substr(0, name.size() - extension.size());
  for (int counter = 1;; ++counter) {
    const std::string mark = counter == 1 ? " (from Mac)" : fmt::format(" (from Mac {})", counter);
    const std::size_t room = RemotePath::maxNameBytes - mark.size() - extension.size();
    const std::string candidate = std::string(utf8::head(stem, room)) + mark + extension;
    if (!taken.contains(utf8::asciiLowered(folder + candidate))) return candidate;
  }
}

}  // namespace lumivale::ReadingFolderPlanner
