#include "core/files/reading-folder/reading_folder_manifest.h"

#include <cctype>

#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include "core/files/utf8.h"

namespace lumivale {

std::string storedMacPath(const std::string& path) {
  std::string out;
  for (std::size_t at = 0; at < path.size();) {
    const auto decoded = utf8::decode(path, at);
    if (decoded && path[at] != '%') {
      out.append(path, at, decoded->length);
      at += decoded->length;
    } else {
      out += fmt::format("%{:02X}", static_cast<unsigned char>(path[at]));
      ++at;
    }
  }
  return out;
}

std::string macPathFromStored(const std::string& text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%' && at + 2 < text.size() &&
        std::isxdigit(static_cast<unsigned char>(text[at + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[at + 2]))) {
      out += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
      at += 2;
    } else {
      out += text[at];
    }
  }
  return out;
}

namespace {

template <typename T>
void putOptional(nlohmann::json& json, const char* key, const std::optional<T>& value) {
  if (value) json[key] = *value;
}

template <typename T>
void getOptional(const nlohmann::json& json, const char* key, std::optional<T>& value) {
  const auto found = json.find(key);
  value =
      found == json.end() || found->is_null() ? std::nullopt : std::optional<T>(found->get<T>());
}

}  // namespace

void to_json(nlohmann::json& json, const ReadingFolderManifest::CopiedFile& file) {
  json = {{"size", file.size},
          {"modified", file.modified},
          {"sha256", file.sha256},
          {"tabletPath", file.tabletPath},
          {"tabletSize", file.tabletSize}};
  putOptional(json, "tabletModified", file.tabletModified);
  putOptional(json, "keptBoth", file.keptBoth);
  putOptional(json, "removedOnTablet", file.removedOnTablet);
  putOptional(json, "inode", file.inode);
  putOptional(json, "changed", file.changed);
}

void from_json(const nlohmann::json& json, ReadingFolderManifest::CopiedFile& file) {
  json.at("size").get_to(file.size);
  json.at("modified").get_to(file.modified);
  json.at("sha256").get_to(file.sha256);
  json.at("tabletPath").get_to(file.tabletPath);
  json.at("tabletSize").get_to(file.tabletSize);
  getOptional(json, "tabletModified", file.tabletModified);
  getOptional(json, "keptBoth", file.keptBoth);
  getOptional(json, "removedOnTablet", file.removedOnTablet);
  getOptional(json, "inode", file.inode);
  getOptional(json, "changed", file.changed);
}

void to_json(nlohmann::json& json, const ReadingFolderManifest& manifest) {
  nlohmann::json files = nlohmann::json::object();
  for (const auto& [path, file] : manifest.files)
    files[storedMacPath(path)] = file;
  json = {{"macFolder", storedMacPath(manifest.macFolder)},
          {"tabletFolder", manifest.tabletFolder},
          {"files", std::move(files)},
          {"folders", manifest.folders}};
  putOptional(json, "updatedAt", manifest.updatedAt);
  putOptional(json, "macFolderID", manifest.macFolderID);
}

void from_json(const nlohmann::json& json, ReadingFolderManifest& manifest) {
  manifest.macFolder = macPathFromStored(json.at("macFolder").get<std::string>());
  json.at("tabletFolder").get_to(manifest.tabletFolder);
  manifest.files.clear();
  for (const auto& [path, file] : json.at("files").items()) {
    file.get_to(manifest.files[macPathFromStored(path)]);
  }
  json.at("folders").get_to(manifest.folders);
  getOptional(json, "updatedAt", manifest.updatedAt);
  getOptional(json, "macFolderID", manifest.macFolderID);
}

}  // namespace lumivale
