#include "core/files/reading-folder/set_aside_journal.h"

#include <system_error>

#include "core/files/reading-folder/reading_folder_store.h"
#include "core/files/reading-folder/record_file.h"
#include "core/settings/file_system_error.h"

namespace lumivale::ReadingFolderStore {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view suffix = ".set-aside.json";

}  // namespace

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SetAsideFile::Entry, path, heldAs)
// "mac" is written as the record writes computer paths, which need not be UTF-8.
void to_json(nlohmann::json& json, const SetAsideFile::Stage& stage) {
  json = {{"id", stage.id}, {"mac", storedMacPath(stage.mac)}, {"staged", stage.staged},
          {"to", stage.to}, {"identity", stage.identity},      {"copied", stage.copied}};
}

void from_json(const nlohmann::json& json, SetAsideFile::Stage& stage) {
  json.at("id").get_to(stage.id);
  stage.mac = macPathFromStored(json.at("mac").get<std::string>());
  json.at("staged").get_to(stage.staged);
  json.at("to").get_to(stage.to);
  json.at("identity").get_to(stage.identity);
  json.at("copied").get_to(stage.copied);
}

SetAsideFile SetAsideFile::load(const fs::path& settingsFolder, std::string_view tablet) {
  const fs::path path = besideRecord(settingsFolder, tablet, suffix);
  SetAsideFile journal;
  journal.serial = std::string(tablet);
  const auto json = readRecordFile(path);
  if (!json) return journal;
  try {
    json->at("version").get_to(journal.version);
    json->at("serial").get_to(journal.serial);
    json->at("entries").get_to(journal.entries);
    json->at("stages").get_to(journal.stages);
  } catch (const nlohmann::json::exception& error) {
    recordUnreadable(path, error);
  }
  if (journal.serial != tablet) anotherTablets(path, journal.serial);
  return journal;
}

void SetAsideFile::save(const fs::path& settingsFolder) const {
  const fs::path path = besideRecord(settingsFolder, serial, suffix);
  if (empty()) {
    std::error_code error;
    if (!fs::remove(path, error) && error) {
      throw FileSystemError("could not remove the finished journal", path, error.value());
    }
    return;
  }
  writeRecordFile(
      path, {{"version", version}, {"serial", serial}, {"entries", entries}, {"stages", stages}});
}

}  // namespace lumivale::ReadingFolderStore
