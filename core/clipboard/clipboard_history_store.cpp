#include "core/clipboard/clipboard_history_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "core/clipboard/clipboard_history_json.h"
#include "core/settings/atomic_file.h"
#include "core/settings/file_lock.h"
#include "core/settings/file_system_error.h"

namespace lumivale {
namespace fs = std::filesystem;

namespace {

constexpr std::string_view temporarySuffix = ".tmp";

ClipboardHistoryStore::LoadProblem unreadable() {
  return {"it is not a plain file this app can read, or it is far too large"};
}

// The whole file, when it is a plain file of at most `maxBytes`; a link is not followed.
std::optional<std::string> readPlainFile(const fs::path& file, std::uintmax_t maxBytes) {
  int fd = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  struct stat facts;
  std::optional<std::string> content;
  if (::fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode) &&
      static_cast<std::uintmax_t>(facts.st_size) <= maxBytes) {
    content.emplace();
    char buffer[65536];
    for (;;) {
      auto got = ::read(fd, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      // A file that grew while read is as unreadable as one that was too large.
      if (got < 0 || content->size() + static_cast<std::size_t>(got) > maxBytes) {
        content.reset();
        break;
      }
      if (got == 0) break;
      content->append(buffer, static_cast<std::size_t>(got));
    }
  }
  ::close(fd);
  return content;
}

}  // namespace

std::string ClipboardHistoryStore::LoadProblem::description() const {
  return "the saved clipboard list could not be read: " + reason;
}

ClipboardHistoryStore::ClipboardHistoryStore(fs::path fileURL, BackupExclusion exclusion)
    : fileURL_(std::move(fileURL)), exclusion_(std::move(exclusion)) {}

std::optional<ClipboardHistoryStore::Loaded> ClipboardHistoryStore::load(
    std::size_t limit, std::size_t maxBytes) const {
  if (!exists()) return std::nullopt;
  auto content = readPlainFile(fileURL_, maxFileBytes);
  if (!content) return unreadable();
  try {
    return ClipboardHistory::restoring(ClipboardHistoryJson::decode(*content), limit, maxBytes);
  } catch (const ClipboardHistoryJson::DecodeFailure& failure) {
    return LoadProblem{failure.what()};
  }
}

void ClipboardHistoryStore::save(const ClipboardHistory& history) const {
  createFolder(fileURL_.parent_path());
  FileLock lock(lockFile());
  saveLocked(history);
}

ClipboardHistoryStore::Loaded ClipboardHistoryStore::update(
    const std::function<bool(ClipboardHistory&)>& body, std::size_t limit,
    std::size_t maxBytes) const {
  createFolder(fileURL_.parent_path());
  FileLock lock(lockFile());
  Loaded loaded = load(limit, maxBytes).value_or(ClipboardHistory(limit, maxBytes));
  if (auto* history = std::get_if<ClipboardHistory>(&loaded); history && body(*history))
    saveLocked(*history);
  return loaded;
}

void ClipboardHistoryStore::deleteFile() const {
  std::error_code missing;
  if (!fs::is_directory(fileURL_.parent_path(), missing)) return;
  FileLock lock(lockFile());
  if (::unlink(fileURL_.c_str()) != 0 && errno != ENOENT)
    throw FileSystemError("could not delete", fileURL_, errno);
  sweepLocked();
}

bool ClipboardHistoryStore::exists() const {
  std::error_code error;
  return fs::exists(fs::symlink_status(fileURL_, error));
}

bool ClipboardHistoryStore::isExcludedFromBackup() const {
  std::error_code error;
  return exclusion_.isMarked && fs::is_regular_file(fs::symlink_status(fileURL_, error)) &&
         exclusion_.isMarked(fileURL_);
}

void ClipboardHistoryStore::sweepTemporaryFiles() const {
  std::error_code missing;
  if (!fs::is_directory(fileURL_.parent_path(), missing)) return;
  FileLock lock(lockFile());
  sweepLocked();
}

bool ClipboardHistoryStore::isTemporaryName(std::string_view name) {
  const std::string prefix = "." + std::string(fileName) + ".";
  return name.size() > prefix.size() + temporarySuffix.size() && name.starts_with(prefix) &&
         name.ends_with(temporarySuffix);
}

fs::path ClipboardHistoryStore::lockFile() const {
  return fileURL_.parent_path() / "clipboard-history.lock";
}

void ClipboardHistoryStore::saveLocked(const ClipboardHistory& history) const {
  // What an interrupted save left is no longer anyone's: this save holds the lock.
  sweepLocked();
  writeFileThroughTemporary(fileURL_, ClipboardHistoryJson::encode(history),
                            "." + std::string(fileName) + ".XXXXXX" + std::string(temporarySuffix),
                            exclusion_.mark);
}

// Best effort: a leftover that cannot be removed harms nothing but space.
void ClipboardHistoryStore::sweepLocked() const {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(fileURL_.parent_path(), error)) {
    if (!isTemporaryName(entry.path().filename().string())) continue;
    std::error_code ignored;
    fs::remove(entry.path(), ignored);
  }
}

}  // namespace lumivale
