#include "core/settings/config_store.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "core/settings/atomic_file.h"
#include "core/settings/config_json.h"
#include "core/settings/environment.h"
#include "core/settings/file_lock.h"

namespace lumivale::ConfigStore {
namespace {

// ${XDG_DATA_HOME:-~/.local/share}; a relative XDG_DATA_HOME is invalid and ignored.
std::filesystem::path userDataFolder() {
  if (auto data = environmentFolder("XDG_DATA_HOME")) return *data;
  auto home = environmentFolder("HOME");
  if (!home) {
    const passwd* entry = ::getpwuid(::getuid());
    if (entry && entry->pw_dir && entry->pw_dir[0] == '/') home = entry->pw_dir;
  }
  if (!home)
    throw Error("The home folder could not be found. Set LUMIVALE_CONFIG_DIR to a folder.");
  return *home / ".local" / "share";
}

template <class Body>
auto locked(Body&& body) {
  auto folder = directory();
  createFolder(folder);
  FileLock lock(folder / "config.lock");
  return body();
}

void write(const LumivaleConfig& config) {
  createFolder(directory());
  writeFileAtomically(fileURL(), ConfigJson::encodeText(config));
}

// The whole file; nullopt when there is none. Other read failures are ConfigUnreadable.
std::optional<std::string> readSettingsFile() {
  int fd = ::open(fileURL().c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 && errno == ENOENT) return std::nullopt;
  if (fd < 0) throw ConfigUnreadable(std::strerror(errno));
  std::unique_ptr<int, void (*)(int*)> closer(&fd, [](int* open) { ::close(*open); });
  std::string content;
  char buffer[65536];
  for (;;) {
    auto count = ::read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw ConfigUnreadable(std::strerror(errno));
    if (count == 0) return content;
    content.append(buffer, static_cast<std::size_t>(count));
  }
}

LumivaleConfig loadUnlocked() {
  auto content = readSettingsFile();
  if (!content) {
    // The first load on a machine fixes the session id by writing it down.
    const auto& defaults = LumivaleConfig::devDefaults();
    write(defaults);
    return defaults;
  }
  try {
    return ConfigJson::decode(*content);
  } catch (const std::exception& error) {
    throw ConfigUnreadable(decodeReason(error));
  }
}

}  // namespace

std::filesystem::path directory() {
  if (auto chosen = environmentFolder(directoryEnvironmentKey)) return *chosen;
  return userDataFolder() / "lumivale";
}

std::filesystem::path fileURL() {
  return directory() / "config.json";
}

LumivaleConfig load() {
  return locked([] { return loadUnlocked(); });
}

void save(const LumivaleConfig& config) {
  locked([&] { write(config); });
}

LumivaleConfig update(const std::optional<LumivaleConfig>& ifUnreadable,
                      const std::function<void(LumivaleConfig&)>& body) {
  return locked([&] {
    LumivaleConfig config;
    try {
      config = loadUnlocked();
    } catch (...) {
      if (!ifUnreadable) throw;
      config = *ifUnreadable;
    }
    body(config);
    write(config);
    return config;
  });
}

LumivaleConfig update(const std::function<void(LumivaleConfig&)>& body) {
  return update(std::nullopt, body);
}

std::string decodeReason(const std::exception& error) {
  const auto* decodeError = dynamic_cast<const ConfigDecodeError*>(&error);
  if (decodeError == nullptr) return "it is not valid JSON";
  if (decodeError->kind() == ConfigDecodeError::Kind::missingKey)
    return "\"" + decodeError->where() + "\" is missing";
  return "\"" + decodeError->where() + "\" has the wrong type";
}

}  // namespace lumivale::ConfigStore
