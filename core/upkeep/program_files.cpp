#include "core/upkeep/program_files.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "core/clipboard/clipboard_history_store.h"

namespace lumivale::ProgramFiles {
namespace {

namespace fs = std::filesystem;

// Every name the program gives an entry of its settings folder. A name added there must be
// added here, or removing the program leaves it behind (and says so).
const std::map<std::string, std::string>& ownNames() {
  static const std::map<std::string, std::string> names{
      {"config.json", "the settings file"},
      {"config.lock", "the settings file's lock"},
      {"app-settings.json", "the app's settings"},
      {"app-settings.json.damaged", "the app's damaged settings, set aside"},
      {"app-settings.lock", "the app's settings' lock"},
      {std::string(ClipboardHistoryStore::fileName), "the clipboard history"},
      {"clipboard-history.lock", "the clipboard history's lock"},
      {readingFolderRecords, "the Reading folder's records"},
      {platformTools, "the program's own copy of Android's tools"},
      {"adb-answered", "which adb programs answered"},
      {"started-tablets", "which tablets had finished starting"},
      {"session.lock", "the sign-in's lock"},
      {"session-generation", "the sign-in's change counter"},
      {"profiles", "what the active profiles changed"},
      {"logs", "the log"},
  };
  return names;
}

// The description of a settings folder entry that is the program's, or none.
const std::string* ownEntry(const std::string& name) {
  const auto& names = ownNames();
  if (auto exact = names.find(name); exact != names.end()) return &exact->second;
  static const std::string unfinishedHistory = "an unfinished save of the clipboard history";
  if (ClipboardHistoryStore::isTemporaryName(name)) return &unfinishedHistory;
  // An atomic write's unfinished copy: the file's name, a dot and six characters.
  auto dot = name.rfind('.');
  if (dot != std::string::npos && name.size() - dot == 7) {
    if (auto file = names.find(name.substr(0, dot)); file != names.end()) return &file->second;
  }
  return nullptr;
}

std::vector<fs::directory_entry> entriesOf(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder, missing))
    entries.push_back(entry);
  std::sort(entries.begin(), entries.end());
  return entries;
}

}  // namespace

std::vector<Item> inSettingsFolder(const fs::path& folder) {
  std::vector<Item> found;
  for (const auto& entry : entriesOf(folder)) {
    if (const auto* what = ownEntry(entry.path().filename().string()))
      found.push_back({entry.path(), *what});
  }
  return found;
}

std::vector<std::string> strangers(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : entriesOf(folder)) {
    auto name = entry.path().filename().string();
    if (!ownEntry(name)) names.push_back(name);
  }
  return names;
}

std::vector<Item> logFiles(const fs::path& folder) {
  static const std::regex logName(R"(lumivale(\.[0-9]+)?\.log)");
  std::vector<Item> found;
  for (const auto& entry : entriesOf(folder)) {
    if (std::regex_match(entry.path().filename().string(), logName) && entry.is_regular_file())
      found.push_back({entry.path(), "the log"});
  }
  return found;
}

std::vector<std::string> readingFolderTabletFolders(const fs::path& settingsFolder) {
  std::vector<std::string> folders;
  for (const auto& entry : entriesOf(settingsFolder / readingFolderRecords)) {
    const auto name = entry.path().filename().string();
    if (!name.ends_with(".json") || name.ends_with(".set-aside.json")) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    auto record = nlohmann::json::parse(text.str(), nullptr, false);
    if (!record.is_object() || !record.contains("pairs") || !record["pairs"].is_array()) continue;
    for (const auto& pair : record["pairs"]) {
      if (!pair.is_object() || !pair.contains("tabletFolder") || !pair["tabletFolder"].is_string())
        continue;
      auto folder = pair["tabletFolder"].get<std::string>();
      if (std::find(folders.begin(), folders.end(), folder) == folders.end())
        folders.push_back(folder);
    }
  }
  if (folders.empty()) folders.push_back(defaultReadingFolderOnTablet);
  return folders;
}

}  // namespace lumivale::ProgramFiles
