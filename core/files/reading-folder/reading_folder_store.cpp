#include "core/files/reading-folder/reading_folder_store.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/files/reading-folder/reading_folder_error.h"
#include "core/files/reading-folder/record_file.h"
#include "core/files/remote_path.h"
#include "core/settings/log.h"

namespace lumivale::ReadingFolderStore {

namespace fs = std::filesystem;

namespace {

const char* const noSerial =
    "could not read the tablet’s serial number, which names its record of what was copied; "
    "nothing was changed, try again";

std::string fileNameOf(std::string_view tablet) {
  if (tablet.empty()) throw ReadingFolderError(noSerial);
  std::string name;
  for (const char c : tablet) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_' || (c == '.' && !name.empty());
    name += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return name;
}

File fileFrom(const nlohmann::json& json, const fs::path& path) {
  try {
    File file;
    json.at("version").get_to(file.version);
    json.at("serial").get_to(file.serial);
    json.at("pairs").get_to(file.pairs);
    return file;
  } catch (const nlohmann::json::exception& error) {
    recordUnreadable(path, error);
  }
}

bool samePair(const ReadingFolderManifest& stored, const ReadingFolderManifest& saved) {
  if (tabletFolderKey(stored.tabletFolder) != tabletFolderKey(saved.tabletFolder)) return false;
  if (stored.macFolderID && saved.macFolderID) return *stored.macFolderID == *saved.macFolderID;
  return stored.macFolder == saved.macFolder;
}

}  // namespace

fs::path directory(const fs::path& settingsFolder) {
  return settingsFolder / "Reading folder";
}

fs::path fileURL(const fs::path& settingsFolder, std::string_view tablet) {
  return besideRecord(settingsFolder, tablet, ".json");
}

fs::path besideRecord(const fs::path& settingsFolder, std::string_view tablet,
                      std::string_view suffix) {
  return directory(settingsFolder) / (fileNameOf(tablet) + std::string(suffix));
}

std::string tabletFolderKey(std::string_view tabletFolder) {
  const std::string folder = RemotePath::validate(tabletFolder);
  const std::string_view canonical = RemotePath::canonicalRoot;
  if (folder.starts_with(canonical) &&
      (folder.size() == canonical.size() || folder[canonical.size()] == '/')) {
    return std::string(RemotePath::root) + folder.substr(canonical.size());
  }
  return folder;
}

File load(const fs::path& settingsFolder, std::string_view tablet) {
  const fs::path path = fileURL(settingsFolder, tablet);
  const auto json = readRecordFile(path);
  File file{currentVersion, std::string(tablet), {}};
  if (!json) return file;
  File stored = fileFrom(*json, path);
  if (stored.serial != tablet) {
    logWarning("reading folder: {} holds another tablet's record ({}); it is not used",
               path.string(), stored.serial);
    return file;
  }
  return stored;
}

Found manifest(const File& file, const MacRoot& root, std::string_view tabletFolder) {
  const std::string key = tabletFolderKey(tabletFolder);
  const std::string id = root.id();
  std::vector<const ReadingFolderManifest*> here;
  for (const ReadingFolderManifest& pair : file.pairs) {
    if (tabletFolderKey(pair.tabletFolder) == key) here.push_back(&pair);
  }
  Found found{{root.url, std::string(tabletFolder), {}, {}, std::nullopt, id}, std::nullopt};
  const auto byIdentity = std::ranges::find_if(
      here, [&](const ReadingFolderManifest* pair) { return pair->macFolderID == id; });
  if (byIdentity != here.end()) {
    found.manifest = **byIdentity;
    if (found.manifest.macFolder != root.url) {
      found.manifest.macFolder = root.url;
      found.change = "reading folder: the Mac folder was moved or renamed; its record follows it";
    }
  } else if (const auto byPath = std::ranges::find_if(
                 here,
                 [&](const ReadingFolderManifest* pair) { return pair->macFolder == root.url; });
             byPath != here.end()) {
    if ((*byPath)->macFolderID) {
      found.change =
          "reading folder: another folder now has this path; it starts a record of its own";
    } else {
      found.manifest = **byPath;
      found.manifest.macFolderID = id;
    }
  }
  found.manifest.tabletFolder = std::string(tabletFolder);
  if (found.change) logInfo("{}", *found.change);
  return found;
}

void save(const fs::path& settingsFolder, std::string_view tablet, ReadingFolderManifest manifest) {
  const fs::path path = fileURL(settingsFolder, tablet);
  File file{currentVersion, std::string(tablet), {}};
  if (const auto json = readRecordFile(path)) {
    file = fileFrom(*json, path);
    if (file.serial != tablet) {
      anotherTablets(path, file.serial);
    }
  }
  manifest.updatedAt =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const auto same = std::ranges::find_if(
      file.pairs, [&](const ReadingFolderManifest& stored) { return samePair(stored, manifest); });
  if (same != file.pairs.end()) {
    *same = std::move(manifest);
  } else {
    file.pairs.push_back(std::move(manifest));
  }
  file.version = currentVersion;
  writeRecordFile(path,
                  {{"version", file.version}, {"serial", file.serial}, {"pairs", file.pairs}});
}

}  // namespace lumivale::ReadingFolderStore
