#include "core/files/reading-folder/record_file.h"

#include <fstream>
#include <sstream>

#include <fmt/format.h>

#include "core/files/reading-folder/reading_folder_error.h"
#include "core/settings/atomic_file.h"

namespace lumivale::ReadingFolderStore {

namespace fs = std::filesystem;

void recordUnreadable(const fs::path& path, const std::exception& error) {
  throw ReadingFolderError(fmt::format(
      "the record of what was copied to this tablet ({}) cannot be read ({}); move it away and "
      "the next copy starts a new one",
      path.string(), error.what()));
}

std::optional<nlohmann::json> readRecordFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::stringstream text;
  text << in.rdbuf();
  try {
    return nlohmann::json::parse(text.str());
  } catch (const nlohmann::json::exception& error) {
    recordUnreadable(path, error);
  }
}

void writeRecordFile(const fs::path& path, const nlohmann::json& json) {
  createFolder(path.parent_path());
  writeFileAtomically(path, json.dump(2));
}

void anotherTablets(const fs::path& path, std::string_view serial) {
  throw ReadingFolderError(fmt::format("{} holds another tablet’s record ({}); nothing was saved",
                                       path.string(), serial));
}

}  // namespace lumivale::ReadingFolderStore
