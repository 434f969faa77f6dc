#include "core/files/reading-folder/mac_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <set>
#include <thread>

#include "core/crypto_library.h"
#include "core/files/reading-folder/mac_identity_detail.h"
#include "core/files/remote_path.h"
#include "core/files/utf8.h"
#include "core/settings/file_system_error.h"

namespace lumivale {

namespace fs = std::filesystem;

namespace {

// Closes a descriptor at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(-1); }
  void reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

std::string joined(const std::string& prefix, const std::string& name) {
  return prefix.empty() ? name : prefix + "/" + name;
}

// One item of a folder, with what decides whether it is copied.
struct Item {
  std::string name;
  struct stat status {};
  std::string tabletName;
  std::string key;  // the tablet name as the tablet's storage compares names
  bool recorded = false;
};

// How a file read ended.
enum class Reading { done, unreadable, link, changed };

bool sameAsWalked(const struct stat& now, const MacFile& file) {
  return S_ISREG(now.st_mode) && static_cast<std::int64_t>(now.st_size) == file.size &&
         secondsOf(now.st_mtim) == file.modified && nanosecondsOf(now.st_ctim) == file.changed &&
         static_cast<std::uint64_t>(now.st_ino) == file.inode;
}

Reading failureOf(int error) {
  if (error == ELOOP) return Reading::link;
  if (error == ENOENT || error == ENOTDIR) return Reading::changed;
  return Reading::unreadable;
}

// Opens a file below `root` without following a link anywhere on its way.
Reading openBeneath(int root, const std::string& path, Descriptor& file) {
  Descriptor folder(::dup(root));
  std::size_t start = 0;
  for (std::size_t slash; (slash = path.find('/', start)) != std::string::npos; start = slash + 1) {
    const std::string part = path.substr(start, slash - start);
    const int next =
        ::openat(folder.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (next < 0) return failureOf(errno);
    folder.reset(next);
  }
  const int opened = ::openat(folder.get(), path.substr(start).c_str(),
                              O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (opened < 0) return failureOf(errno);
  file.reset(opened);
  return Reading::done;
}

Reading hashFile(int root, MacFile& file, std::vector<char>& buffer, const StopToken& stop) {
  Descriptor descriptor(-1);
  if (const Reading opened = openBeneath(root, file.path, descriptor); opened != Reading::done) {
    return opened;
  }
  struct stat before {};
  if (::fstat(descriptor.get(), &before) != 0) return Reading::unreadable;
  if (!sameAsWalked(before, file)) return Reading::changed;
  Digest digest(Digest::Kind::sha256);
  for (;;) {
    stop.throwIfCancelled();
    const ssize_t got = ::read(descriptor.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return Reading::unreadable;
    if (got == 0) break;
    digest.update(std::string_view(buffer.data(), static_cast<std::size_t>(got)));
  }
  struct stat after {};
  if (::fstat(descriptor.get(), &after) != 0) return Reading::unreadable;
  if (!sameAsWalked(after, file)) return Reading::changed;
  file.sha256 = digest.finishHex();
  return Reading::done;
}

class Walker {
 public:
  Walker(MacScan& scan, const MacScan::Options& options) : scan_(scan), options_(options) {}

  void walk(int folder, const std::string& macPrefix, const std::string& tabletPrefix) {
    std::vector<Item> items;
    if (!readItems(folder, macPrefix, tabletPrefix, items)) return;
    std::string lastKey;
    for (Item& item : items) {
      const std::string macPath = joined(macPrefix, item.name);
      const std::string tabletPath = joined(tabletPrefix, item.tabletName);
      const bool isFolder = S_ISDIR(item.status.st_mode);
      if (S_ISLNK(item.status.st_mode)) {
        note(macPath, NoteText::link);
      } else if (!isFolder && !S_ISREG(item.status.st_mode)) {
        ++scan_.ignored;
      } else if (isFolder && ReadingFolderNames::isPackage(item.name)) {
        note(macPath, NoteText::package);
      } else if (item.tabletName.size() > RemotePath::maxNameBytes) {
        note(macPath, NoteText::nameTooLong);
      } else if (options_.tabletFolder.size() + 1 + tabletPath.size() > RemotePath::maxPathBytes) {
        note(macPath, NoteText::pathTooLong);
      } else if (item.key == lastKey) {
        note(macPath, isFolder ? NoteText::sameFolderName : NoteText::sameFileName);
      } else {
        lastKey = item.key;
        scan_.localPaths[tabletPath] = macPath;
        if (isFolder) {
          enter(folder, item.name, macPath, tabletPath);
        } else {
          scan_.files.push_back(MacFile{macPath, static_cast<std::int64_t>(item.status.st_size),
                                        secondsOf(item.status.st_mtim), std::nullopt, false,
                                        static_cast<std::uint64_t>(item.status.st_ino),
                                        static_cast<std::uint64_t>(item.status.st_dev),
                                        nanosecondsOf(item.status.st_ctim)});
        }
      }
    }
  }

  void note(const std::string& path, std::string_view sentence) {
    scan_.skipped.push_back({path, std::string(sentence)});
  }

  void unreadable(const std::string& path) {
    note(path, NoteText::unreadable);
    scan_.complete = false;
    ++scan_.unreadable;
  }

 private:
  bool isRecorded(const std::string& macPath, const std::string& tabletPath, bool isFolder) const {
    if (options_.record == nullptr) return false;
    if (!isFolder) return options_.record->files.contains(macPath);
    return std::ranges::find(options_.record->folders, tabletPath) !=
           options_.record->folders.end();
  }

  // The folder's items to look at, those with the same name on the tablet side by side, the
  // one copied before (else the first by bytes) first.
  bool readItems(int folder, const std::string& macPrefix, const std::string& tabletPrefix,
                 std::vector<Item>& items) {
    std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(::dup(folder)), ::closedir);
    if (!listing) {
      unreadable(macPrefix);
      return false;
    }
    for (;;) {
      errno = 0;
      const dirent* entry = ::readdir(listing.get());
      if (entry == nullptr) {
        if (errno != 0) {
          unreadable(macPrefix);
          return false;
        }
        break;
      }
      const std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (ReadingFolderNames::isIgnored(name)) {
        ++scan_.ignored;
        continue;
      }
      Item item{name, {}, ReadingFolderNames::tabletName(name), {}, false};
      if (::fstatat(folder, name.c_str(), &item.status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT) unreadable(joined(macPrefix, name));
        continue;
      }
      item.key = utf8::asciiLowered(item.tabletName);
      item.recorded = isRecorded(joined(macPrefix, name), joined(tabletPrefix, item.tabletName),
                                 S_ISDIR(item.status.st_mode));
      items.push_back(std::move(item));
    }
    std::ranges::sort(items, [](const Item& a, const Item& b) {
      return std::tie(a.key, b.recorded, a.name) < std::tie(b.key, a.recorded, b.name);
    });
    return true;
  }

  void enter(int parent, const std::string& name, const std::string& macPath,
             const std::string& tabletPath) {
    const int opened =
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (opened < 0) {
      if (errno == ELOOP) {
        note(macPath, NoteText::link);
      } else if (errno != ENOENT) {
        unreadable(macPath);
      }
      scan_.localPaths.erase(tabletPath);
      return;
    }
    Descriptor folder(opened);
    scan_.folders.push_back(macPath);
    walk(folder.get(), macPath, tabletPath);
  }

  MacScan& scan_;
  const MacScan::Options& options_;
};

std::uint64_t totalBytes(const std::vector<MacFile>& files) {
  std::uint64_t total = 0;
  for (const MacFile& file : files)
    total += static_cast<std::uint64_t>(file.size);
  return total;
}

bool takeOver(MacFile& file, const ReadingFolderManifest* record) {
  if (record == nullptr) return false;
  const auto found = record->files.find(file.path);
  if (found == record->files.end()) return false;
  const ReadingFolderManifest::CopiedFile& copied = found->second;
  if (copied.size != file.size || copied.modified != file.modified || copied.inode != file.inode ||
      copied.changed != file.changed || copied.sha256.empty()) {
    return false;
  }
  file.sha256 = copied.sha256;
  file.fromRecord = true;
  return true;
}

// How each file was read: its digest taken over from the record or computed, by several readers
// at once, since on a first sync reading the files is most of the scan.
std::vector<Reading> readAll(int root, std::vector<MacFile>& files,
                             const ReadingFolderManifest* record, const StopToken& stop) {
  std::vector<Reading> readings(files.size(), Reading::done);
  std::atomic<std::size_t> next{0};
  std::atomic<bool> failed{false};
  const auto reader = [&] {
    try {
      std::vector<char> buffer(1 << 20);
      for (std::size_t i; !failed && (i = next++) < files.size();) {
        stop.throwIfCancelled();
        if (!takeOver(files[i], record)) readings[i] = hashFile(root, files[i], buffer, stop);
      }
    } catch (...) {
      failed = true;
      throw;
    }
  };
  const unsigned readers = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
  std::vector<std::future<void>> others;
  for (unsigned i = 1; i < readers && i < files.size(); ++i)
    others.push_back(std::async(std::launch::async, reader));
  std::exception_ptr failure;
  try {
    reader();
  } catch (...) {
    failure = std::current_exception();
  }
  for (std::future<void>& other : others) {
    try {
      other.get();
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
  return readings;
}

}  // namespace

MacScan MacScan::read(const fs::path& folder, const Options& options, const StopToken& stop) {
  const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) throw FileSystemError("could not open the folder", folder, errno);
  Descriptor root(opened);
  MacScan scan;
  scan.root = rootOf(root.get(), folder.string());
  Walker walker(scan, options);
  walker.walk(root.get(), "", "");

  scan.overLimit = options.limits.overLimit(static_cast<std::int64_t>(scan.files.size()),
                                            static_cast<std::int64_t>(scan.folders.size()),
                                            totalBytes(scan.files));
  if (!scan.overLimit) {
    const std::vector<Reading> readings = readAll(root.get(), scan.files, options.record, stop);
    std::vector<MacFile> read;
    std::set<std::string> dropped;
    for (std::size_t i = 0; i < scan.files.size(); ++i) {
      MacFile& file = scan.files[i];
      switch (readings[i]) {
        case Reading::done:
          read.push_back(std::move(file));
          continue;
        case Reading::unreadable:
          walker.unreadable(file.path);
          break;
        case Reading::link:
          walker.note(file.path, NoteText::link);
          break;
        case Reading::changed:
          walker.note(file.path, NoteText::changedWhileRead);
          scan.complete = false;
          break;
      }
      dropped.insert(file.path);
    }
    scan.files = std::move(read);
    std::erase_if(scan.localPaths, [&](const auto& pair) { return dropped.contains(pair.second); });
  }

  // Read through the open folder, the scan is of one folder; if the path now leads to
  // another, what was read may not be what the user sees there.
  std::optional<MacRoot> now;
  try {
    now = MacRoot::of(folder);
  } catch (const FileSystemError&) {
  }
  if (!now || *now != *scan.root) {
    MacScan moved;
    moved.root = scan.root;
    moved.complete = false;
    moved.skipped.push_back({"", std::string(NoteText::folderMoved)});
    return moved;
  }
  return scan;
}

}  // namespace lumivale
