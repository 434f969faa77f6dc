#include "core/device-settings/profile_record.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/error.h"
#include "core/settings/atomic_file.h"
#include "core/settings/config_store.h"
#include "core/settings/file_system_error.h"

namespace lumivale {
namespace {

using nlohmann::json;

constexpr int recordVersion = 1;

json valueJson(const SettingValue& value) {
  if (auto on = value.asOn()) return *on;
  if (auto level = value.asLevel()) return *level;
  return *value.asChoice();
}

SettingValue valueFrom(const json& value) {
  if (value.is_boolean()) return SettingValue::on(value.get<bool>());
  if (value.is_number_integer()) return SettingValue::level(value.get<int>());
  return SettingValue::choice(value.get<std::string>());
}

json recordJson(const ProfileRecord& record) {
  json changes = json::array();
  for (const auto& change : record.changes) {
    changes.push_back({{"id", change.id},
                       {"before", valueJson(change.before)},
                       {"set", change.set ? valueJson(*change.set) : json(nullptr)}});
  }
  return {{"version", recordVersion},
          {"serial", record.serial},
          {"profile", record.profile},
          {"since", record.since},
          {"changes", changes}};
}

ProfileRecord recordFrom(const json& file) {
  if (file.at("version").get<int>() != recordVersion) throw std::runtime_error("unknown version");
  ProfileRecord record{file.at("serial").get<std::string>(),
                       file.at("profile").get<std::string>(),
                       file.at("since").get<std::string>(),
                       {}};
  for (const auto& change : file.at("changes")) {
    const auto& set = change.at("set");
    record.changes.push_back({change.at("id").get<std::string>(), valueFrom(change.at("before")),
                              set.is_null() ? std::nullopt : std::optional(valueFrom(set))});
  }
  return record;
}

}  // namespace

ProfileRecordStore ProfileRecordStore::standard() {
  return ProfileRecordStore(ConfigStore::directory() / folderName);
}

std::filesystem::path ProfileRecordStore::fileFor(const std::string& serial) const {
  std::string name;
  for (unsigned char c : serial) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.')
      name += static_cast<char>(c);
    else
      name += fmt::format("%{:02X}", c);
  }
  return folder_ / (name + ".json");
}

std::optional<ProfileRecord> ProfileRecordStore::load(const std::string& serial) const {
  auto file = fileFor(serial);
  std::error_code missing;
  if (!std::filesystem::exists(file, missing)) return std::nullopt;
  std::ifstream in(file, std::ios::binary);
  if (!in) throw FileSystemError("could not read", file, errno);
  std::stringstream text;
  text << in.rdbuf();
  ProfileRecord record;
  try {
    record = recordFrom(json::parse(text.str()));
  } catch (const std::exception&) {
    throw Error(
        fmt::format("{} is damaged, so what the profile changed is not known; remove it "
                    "and set the tablet's settings by hand",
                    file.string()));
  }
  // Another tablet's record under this name is not this tablet's.
  if (record.serial != serial) return std::nullopt;
  return record;
}

std::unique_ptr<FileLock> ProfileRecordStore::lock(const std::string& serial) const {
  createFolder(folder_);
  auto file = fileFor(serial);
  return std::make_unique<FileLock>(file.replace_extension(".lock"));
}

void ProfileRecordStore::save(const ProfileRecord& record) const {
  createFolder(folder_);
  writeFileAtomically(fileFor(record.serial), recordJson(record).dump(2) + "\n");
}

void ProfileRecordStore::remove(const std::string& serial) const {
  auto file = fileFor(serial);
  if (std::remove(file.c_str()) != 0 && errno != ENOENT)
    throw FileSystemError("could not remove", file, errno);
}

}  // namespace lumivale
