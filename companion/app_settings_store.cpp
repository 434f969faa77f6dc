#include "companion/app_settings_store.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "core/settings/atomic_file.h"
#include "core/settings/config_store.h"
#include "core/settings/file_lock.h"
#include "core/settings/file_system_error.h"
#include "core/settings/log.h"

namespace lumivale::companion {
namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// The file's object as read; `damage` says why it could not be used, when it could not.
struct Reading {
  json object = json::object();
  std::optional<std::string> damage;
};

Reading readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    const int code = errno;
    std::error_code missing;
    if (!fs::exists(fs::symlink_status(file, missing))) return {};
    return {json::object(), std::string("it could not be opened: ") + std::strerror(code)};
  }
  std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad()) return {json::object(), "it could not be read"};
  json parsed = json::parse(text, nullptr, false);
  if (parsed.is_discarded() || !parsed.is_object())
    return {json::object(), "it is not a JSON object"};
  return {std::move(parsed), std::nullopt};
}

void reportWrongType(const fs::path& file, const char* key) {
  logWarning("{}: \"{}\" has the wrong type; its default is used", file.string(), key);
}

void take(const fs::path& file, const json& object, const char* key, bool& field) {
  auto value = object.find(key);
  if (value == object.end()) return;
  if (value->is_boolean())
    field = value->get<bool>();
  else
    reportWrongType(file, key);
}

void take(const fs::path& file, const json& object, const char* key, std::optional<int>& field) {
  auto value = object.find(key);
  if (value == object.end() || value->is_null()) return;
  if (value->is_number_integer())
    field = value->get<int>();
  else
    reportWrongType(file, key);
}

template <class Text>
void take(const fs::path& file, const json& object, const char* key, std::optional<Text>& field) {
  auto value = object.find(key);
  if (value == object.end() || value->is_null()) return;
  if (value->is_string())
    field = Text(value->get<std::string>());
  else
    reportWrongType(file, key);
}

AppSettings decode(const fs::path& file, const json& object) {
  AppSettings settings;
  take(file, object, "clipboardHistoryKept", settings.clipboardHistoryKept);
  take(file, object, "sharedClipboardEnabled", settings.sharedClipboardEnabled);
  take(file, object, "readingFolderPath", settings.readingFolderPath);
  take(file, object, "readingFolderRemoveDeleted", settings.readingFolderRemoveDeleted);
  take(file, object, "readingFolderWatched", settings.readingFolderWatched);
  take(file, object, "readingFolderTablet", settings.readingFolderTablet);
  take(file, object, "readingFolderTabletFolder", settings.readingFolderTabletFolder);
  take(file, object, "openFilesLastRoute", settings.openFilesLastRoute);
  take(file, object, "wirelessPreferred", settings.wirelessPreferred);
  take(file, object, "welcomed", settings.welcomed);
  take(file, object, "windowPane", settings.windowPane);
  take(file, object, "windowWidth", settings.windowWidth);
  take(file, object, "windowHeight", settings.windowHeight);
  return settings;
}

template <class Value>
void put(json& object, const char* key, const std::optional<Value>& value) {
  if (!value)
    object.erase(key);
  else if constexpr (std::is_same_v<Value, int>)
    object[key] = *value;
  else
    object[key] = std::string(*value);
}

// `object` keeps the keys of other versions of the program as they were.
std::string encode(json object, const AppSettings& settings) {
  object["clipboardHistoryKept"] = settings.clipboardHistoryKept;
  object["sharedClipboardEnabled"] = settings.sharedClipboardEnabled;
  put(object, "readingFolderPath", settings.readingFolderPath);
  object["readingFolderRemoveDeleted"] = settings.readingFolderRemoveDeleted;
  object["readingFolderWatched"] = settings.readingFolderWatched;
  put(object, "readingFolderTablet", settings.readingFolderTablet);
  put(object, "readingFolderTabletFolder", settings.readingFolderTabletFolder);
  put(object, "openFilesLastRoute", settings.openFilesLastRoute);
  object["wirelessPreferred"] = settings.wirelessPreferred;
  object["welcomed"] = settings.welcomed;
  put(object, "windowPane", settings.windowPane);
  put(object, "windowWidth", settings.windowWidth);
  put(object, "windowHeight", settings.windowHeight);
  return object.dump(2) + "\n";
}

}  // namespace

AppSettingsStore::AppSettingsStore(fs::path folder) : folder_(std::move(folder)) {}

AppSettingsStore AppSettingsStore::standard() {
  return AppSettingsStore(ConfigStore::directory());
}

// No lock: the file is only ever replaced whole, so a reader sees an old or a new one.
AppSettings AppSettingsStore::load() const {
  Reading reading = readFile(file());
  if (reading.damage)
    logWarning("{} could not be used ({}); the defaults are used and the file is kept",
               file().string(), *reading.damage);
  return decode(file(), reading.object);
}

AppSettings AppSettingsStore::update(const std::function<void(AppSettings&)>& body) const {
  createFolder(folder_);
  FileLock lock(folder_ / "app-settings.lock");
  Reading reading = readFile(file());
  AppSettings settings = decode(file(), reading.object);
  body(settings);
  if (reading.damage) {
    // Kept for whoever wants to look at it, rather than silently written over.
    fs::path aside = file();
    aside += ".damaged";
    if (std::rename(file().c_str(), aside.c_str()) != 0)
      throw FileSystemError("could not set aside the damaged settings file", file(), errno);
    logWarning("{} could not be used ({}); it was moved to {} and the defaults were used",
               file().string(), *reading.damage, aside.string());
  }
  writeFileAtomically(file(), encode(std::move(reading.object), settings));
  return settings;
}

}  // namespace lumivale::companion
