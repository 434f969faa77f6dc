#include "core/tablet/tools/tools_receipt.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include <nlohmann/json.hpp>

#include "core/crypto_library.h"
#include "core/settings/atomic_file.h"
#include "core/settings/file_system_error.h"
#include "core/tablet/unique_fd.h"
#include "core/utc_now.h"

namespace lumivale {
namespace fs = std::filesystem;

namespace {

std::string fileSha256(const fs::path& file) {
  UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) throw FileSystemError("could not read", file, errno);
  Digest digest(Digest::Kind::sha256);
  char buffer[65536];
  for (;;) {
    ssize_t count = read(fd.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileSystemError("could not read", file, errno);
    if (count == 0) break;
    digest.update(std::string_view(buffer, static_cast<size_t>(count)));
  }
  return digest.finishHex();
}

// Every file under `folder` but the receipt, by its path inside the folder. A link
// counts as a file, so one planted in the copy is seen rather than followed.
std::map<std::string, fs::path> filesIn(const fs::path& folder) {
  std::map<std::string, fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    std::string name = entry.path().lexically_relative(folder).generic_string();
    if (name != ToolsReceipt::fileName) files[name] = entry.path();
  }
  return files;
}

}  // namespace

ToolsReceipt ToolsReceipt::of(const fs::path& folder, std::string version, std::string source,
                              std::string archiveChecksum) {
  ToolsReceipt receipt{
      std::move(version), std::move(source), std::move(archiveChecksum), utcNow(), {}};
  for (const auto& [name, path] : filesIn(folder))
    receipt.files[name] = fileSha256(path);
  return receipt;
}

void ToolsReceipt::writeInto(const fs::path& folder) const {
  nlohmann::json json{{"version", version},
                      {"source", source},
                      {"archiveChecksum", archiveChecksum},
                      {"installedAt", installedAt},
                      {"files", files}};
  writeFileAtomically(folder / fileName, json.dump(2) + "\n");
}

std::optional<ToolsReceipt> ToolsReceipt::readFrom(const fs::path& folder) {
  std::ifstream file(folder / fileName);
  if (!file) return std::nullopt;
  try {
    auto json = nlohmann::json::parse(file);
    return ToolsReceipt{json.at("version").get<std::string>(), json.at("source").get<std::string>(),
                        json.at("archiveChecksum").get<std::string>(),
                        json.at("installedAt").get<std::string>(),
                        json.at("files").get<std::map<std::string, std::string>>()};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

std::optional<std::string> ToolsReceipt::mismatch(const fs::path& folder) const {
  std::map<std::string, fs::path> present;
  try {
    present = filesIn(folder);
  } catch (const fs::filesystem_error&) {
    return "its folder cannot be read";
  }
  for (const auto& [name, sha256] : files) {
    auto found = present.find(name);
    if (found == present.end()) return name + " is missing";
    std::string now;
    try {
      now = fileSha256(found->second);
    } catch (const FileSystemError&) {
      return name + " cannot be read";
    }
    if (now != sha256) return name + " has changed since it was installed";
  }
  for (const auto& [name, path] : present)
    if (!files.contains(name)) return name + " was not part of it";
  return std::nullopt;
}

std::optional<std::string> checkOwnCopy(const fs::path& folder) {
  std::error_code error;
  if (!fs::exists(folder / ToolsReceipt::fileName, error)) return "its receipt is missing";
  auto receipt = ToolsReceipt::readFrom(folder);
  if (!receipt) return "its receipt cannot be read";
  return receipt->mismatch(folder);
}

}  // namespace lumivale
