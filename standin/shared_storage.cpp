#include "standin/shared_storage.h"

#define FUSE_USE_VERSION 35
#include <fcntl.h>
#include <fuse.h>
#include <fuse_lowlevel.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

#include <fmt/format.h>

#include "core/error.h"
#include "standin/case_folding_folder.h"

namespace lumivale::standin {
namespace {

CaseFoldingFolder& storage() {
  return *static_cast<CaseFoldingFolder*>(fuse_get_context()->private_data);
}

// 0, or the errno of the call that just failed, negated as FUSE wants it.
int outcome(long result) {
  return result < 0 ? -errno : 0;
}

// Runs `action` on the stored spelling of an existing path.
template <typename Action>
int onStored(const char* path, Action action) {
  std::string stored;
  if (int error = storage().find(path, stored)) return -error;
  return action(stored);
}

// Runs `action` on the stored path of an existing item that it removes.
template <typename Action>
int onRemoved(const char* path, Action action) {
  return onStored(path, [&](const std::string& stored) {
    return storage().change({{NameChange::removed, stored}}, [&] { return action(stored); });
  });
}

// Runs `action` on the stored path a new name takes; a name taken in any case is EEXIST.
template <typename Action>
int onNew(const char* path, Action action) {
  std::string folder, name;
  bool taken = false;
  if (int error = storage().place(path, folder, name, taken)) return -error;
  if (taken) return -EEXIST;
  std::string stored = CaseFoldingFolder::join(folder, name);
  return storage().change({{NameChange::added, stored}}, [&] { return action(stored); });
}

void* init(fuse_conn_info* connection, fuse_config* config) {
  // Lookups must see what tests put straight into the backing folder, so no name is
  // remembered; each lookup brings fresh attributes, which may then serve a second.
  config->entry_timeout = 0;
  config->negative_timeout = 0;
  config->attr_timeout = 1;
  // Bytes move between /dev/fuse and the backing files without a copy where they can.
  connection->want |= FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE;
  config->use_ino = 1;
  config->hard_remove = 1;  // no ".fuse_hidden" files for open files that are removed
  return fuse_get_context()->private_data;
}

int getattr(const char* path, struct stat* result, fuse_file_info* file) {
  if (file) return outcome(::fstat(static_cast<int>(file->fh), result));
  return onStored(path, [&](const std::string& stored) {
    return outcome(::fstatat(storage().fd(), stored.c_str(), result, AT_SYMLINK_NOFOLLOW));
  });
}

int readlink(const char* path, char* buffer, size_t size) {
  return onStored(path, [&](const std::string& stored) {
    ssize_t length = ::readlinkat(storage().fd(), stored.c_str(), buffer, size - 1);
    if (length < 0) return -errno;
    buffer[length] = '\0';
    return 0;
  });
}

int mknod(const char* path, mode_t mode, dev_t device) {
  return onNew(path, [&](const std::string& stored) {
    return outcome(::mknodat(storage().fd(), stored.c_str(), mode, device));
  });
}

int mkdir(const char* path, mode_t mode) {
  return onNew(path, [&](const std::string& stored) {
    return outcome(::mkdirat(storage().fd(), stored.c_str(), mode));
  });
}

int unlink(const char* path) {
  return onRemoved(path, [&](const std::string& stored) {
    return outcome(::unlinkat(storage().fd(), stored.c_str(), 0));
  });
}

int rmdir(const char* path) {
  return onRemoved(path, [&](const std::string& stored) {
    return outcome(::unlinkat(storage().fd(), stored.c_str(), AT_REMOVEDIR));
  });
}

int symlink(const char* target, const char* path) {
  return onNew(path, [&](const std::string& stored) {
    return outcome(::symlinkat(target, storage().fd(), stored.c_str()));
  });
}

int link(const char* from, const char* to) {
  return onStored(from, [&](const std::string& source) {
    return onNew(to, [&](const std::string& stored) {
      return outcome(::linkat(storage().fd(), source.c_str(), storage().fd(), stored.c_str(), 0));
    });
  });
}

int rename(const char* from, const char* to, unsigned int flags) {
  return onStored(from, [&](const std::string& source) {
    std::string folder, name;
    bool taken = false;
    if (int error = storage().place(to, folder, name, taken)) return -error;
    const int fd = storage().fd();
    std::string given = CaseFoldingFolder::join(folder, std::string(std::strrchr(to, '/') + 1));
    std::string target = CaseFoldingFolder::join(folder, name);
    // Only the case changes: the item takes the spelling given.
    if (taken && target == source)
      return storage().change({{NameChange::removed, source}, {NameChange::added, given}}, [&] {
        return outcome(::renameat(fd, source.c_str(), fd, given.c_str()));
      });
    if (taken && (flags & RENAME_NOREPLACE)) return -EEXIST;
    // An exchange keeps both names.
    if (flags & RENAME_EXCHANGE)
      return storage().change({{NameChange::kept, source}, {NameChange::kept, target}}, [&] {
        return outcome(::renameat2(fd, source.c_str(), fd, target.c_str(), flags));
      });
    // What replaced an item in another case is stored as it was given.
    bool respell = taken && target != given;
    std::vector<NameChange> changes{{NameChange::removed, source}, {NameChange::added, target}};
    if (respell)
      changes.insert(changes.end(), {{NameChange::removed, target}, {NameChange::added, given}});
    return storage().change(changes, [&] {
      if (::renameat2(fd, source.c_str(), fd, target.c_str(), flags) != 0) return -errno;
      return respell ? outcome(::renameat(fd, target.c_str(), fd, given.c_str())) : 0;
    });
  });
}

int chmod(const char* path, mode_t mode, fuse_file_info* file) {
  if (file) return outcome(::fchmod(static_cast<int>(file->fh), mode));
  return onStored(path, [&](const std::string& stored) {
    return outcome(::fchmodat(storage().fd(), stored.c_str(), mode, 0));
  });
}

int chown(const char* path, uid_t user, gid_t group, fuse_file_info* file) {
  if (file) return outcome(::fchown(static_cast<int>(file->fh), user, group));
  return onStored(path, [&](const std::string& stored) {
    return outcome(::fchownat(storage().fd(), stored.c_str(), user, group, AT_SYMLINK_NOFOLLOW));
  });
}

int truncate(const char* path, off_t size, fuse_file_info* file) {
  if (file) return outcome(::ftruncate(static_cast<int>(file->fh), size));
  return onStored(path, [&](const std::string& stored) {
    UniqueFd fd(::openat(storage().fd(), stored.c_str(), O_WRONLY | O_CLOEXEC));
    if (!fd) return -errno;
    return outcome(::ftruncate(fd.get(), size));
  });
}

int utimens(const char* path, const timespec times[2], fuse_file_info* file) {
  if (file) return outcome(::futimens(static_cast<int>(file->fh), times));
  return onStored(path, [&](const std::string& stored) {
    return outcome(::utimensat(storage().fd(), stored.c_str(), times, AT_SYMLINK_NOFOLLOW));
  });
}

int open(const char* path, fuse_file_info* file) {
  return onStored(path, [&](const std::string& stored) {
    int fd = ::openat(storage().fd(), stored.c_str(), file->flags | O_CLOEXEC);
    if (fd < 0) return -errno;
    file->fh = static_cast<uint64_t>(fd);
    return 0;
  });
}

// A name already there in another case is that file, opened; only a new one is made.
int create(const char* path, mode_t mode, fuse_file_info* file) {
  std::string folder, name;
  bool taken = false;
  if (int error = storage().place(path, folder, name, taken)) return -error;
  if (taken && (file->flags & O_EXCL)) return -EEXIST;
  std::string stored = CaseFoldingFolder::join(folder, name);
  auto open = [&] {
    int fd = ::openat(storage().fd(), stored.c_str(), file->flags | O_CREAT | O_CLOEXEC, mode);
    if (fd < 0) return -errno;
    file->fh = static_cast<uint64_t>(fd);
    return 0;
  };
  return taken ? open() : storage().change({{NameChange::added, stored}}, open);
}

int readBuffer(const char*, fuse_bufvec** result, size_t size, off_t offset, fuse_file_info* file) {
  auto* source = static_cast<fuse_bufvec*>(std::malloc(sizeof(fuse_bufvec)));
  if (!source) return -ENOMEM;
  *source = FUSE_BUFVEC_INIT(size);
  source->buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  source->buf[0].fd = static_cast<int>(file->fh);
  source->buf[0].pos = offset;
  *result = source;
  return 0;
}

int writeBuffer(const char*, fuse_bufvec* source, off_t offset, fuse_file_info* file) {
  fuse_bufvec destination = FUSE_BUFVEC_INIT(fuse_buf_size(source));
  destination.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  destination.buf[0].fd = static_cast<int>(file->fh);
  destination.buf[0].pos = offset;
  return static_cast<int>(fuse_buf_copy(&destination, source, FUSE_BUF_SPLICE_NONBLOCK));
}

int statfs(const char*, struct statvfs* result) {
  return outcome(::fstatvfs(storage().fd(), result));
}

int release(const char*, fuse_file_info* file) {
  return outcome(::close(static_cast<int>(file->fh)));
}

int fsync(const char*, int dataOnly, fuse_file_info* file) {
  int fd = static_cast<int>(file->fh);
  return outcome(dataOnly ? ::fdatasync(fd) : ::fsync(fd));
}

// Every name at once, in the case it was stored with.
int readdir(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*,
            fuse_readdir_flags) {
  return onStored(path, [&](const std::string& stored) {
    return -forEachName(storage().fd(), stored, [&](const char* name) {
      return fill(buffer, name, nullptr, 0, static_cast<fuse_fill_dir_flags>(0)) == 0;
    });
  });
}

fuse_operations operations() {
  fuse_operations table{};
  table.init = init;
  table.getattr = getattr;
  table.readlink = readlink;
  table.mknod = mknod;
  table.mkdir = mkdir;
  table.unlink = unlink;
  table.rmdir = rmdir;
  table.symlink = symlink;
  table.rename = rename;
  table.link = link;
  table.chmod = chmod;
  table.chown = chown;
  table.truncate = truncate;
  table.open = open;
  table.read_buf = readBuffer;
  table.write_buf = writeBuffer;
  table.statfs = statfs;
  table.release = release;
  table.fsync = fsync;
  table.readdir = readdir;
  table.create = create;
  table.utimens = utimens;
  return table;
}

}  // namespace

struct SharedStorage::Mounted {
  CaseFoldingFolder folder;
  fuse* session = nullptr;
  std::string mountPoint;
  std::thread loop;
  std::future<void> loopEnded;

  Mounted(const std::string& backing, std::string mountPoint)
      : folder(backing), mountPoint(std::move(mountPoint)) {}
};

SharedStorage::SharedStorage(const std::filesystem::path& backing,
                             const std::filesystem::path& mountPoint)
    : mounted_(std::make_unique<Mounted>(backing.string(), mountPoint.string())) {
  static const fuse_operations table = operations();
  fuse_args arguments = FUSE_ARGS_INIT(0, nullptr);
  for (const char* argument : {"lumivale-standin", "-o", "fsname=/dev/fuse,subtype=sdcard"})
    fuse_opt_add_arg(&arguments, argument);
  mounted_->session = fuse_new(&arguments, &table, sizeof table, &mounted_->folder);
  fuse_opt_free_args(&arguments);
  if (!mounted_->session) throw Error("lumivale-standin cannot set up its FUSE storage");
  if (fuse_mount(mounted_->session, mountPoint.c_str()) != 0) {
    fuse_destroy(mounted_->session);
    throw Error(
        fmt::format("lumivale-standin cannot mount its storage on {} (is /dev/fuse there? "
                    "--plain-storage runs without it)",
                    mountPoint.string()));
  }
  // Commands the stand-in starts must not hold the connection open.
  int channel = fuse_session_fd(fuse_get_session(mounted_->session));
  ::fcntl(channel, F_SETFD, ::fcntl(channel, F_GETFD) | FD_CLOEXEC);
  std::promise<void> ended;
  mounted_->loopEnded = ended.get_future();
  // Signals are for the daemon's main loop, which stops everything in order: the thread
  // starts with all of them blocked.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  mounted_->loop = std::thread([session = mounted_->session, ended = std::move(ended)]() mutable {
    fuse_loop_config config{};
    config.max_idle_threads = 8;
    fuse_loop_mt(session, &config);
    ended.set_value();
  });
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

SharedStorage::~SharedStorage() {
  using namespace std::chrono_literals;
  fuse_exit(mounted_->session);
  // Forced, so that requests still waiting fail and the loop ends; lazily, so that a
  // command still inside the storage does not keep it mounted.
  ::umount2(mounted_->mountPoint.c_str(), MNT_FORCE | MNT_DETACH);
  if (mounted_->loopEnded.wait_for(10s) != std::future_status::ready) {
    // Left, with what it uses, to the end of the process, which takes the mount namespace along.
    mounted_->loop.detach();
    (void)mounted_.release();
    return;
  }
  mounted_->loop.join();
  // Already gone; this lets libfuse let go of what it kept for the mount.
  fuse_unmount(mounted_->session);
  fuse_destroy(mounted_->session);
}

void enterOwnMountNamespace() {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
    throw Error(fmt::format("lumivale-standin cannot make a mount namespace of its own: {}",
                            std::strerror(errno)));
}

}  // namespace lumivale::standin
