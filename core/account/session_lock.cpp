#include "core/account/session_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include "core/settings/log.h"

#include <fmt/format.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

namespace lumivale {

namespace {

using Clock = std::chrono::steady_clock;

thread_local std::optional<double> waitLimit;

// Static initialisation runs on the main thread.
const std::thread::id mainThread = std::this_thread::get_id();

Clock::time_point after(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::string folderOf(const std::filesystem::path& file) {
  return file.parent_path().string();
}

}  // namespace

SessionLockBusy::SessionLockBusy()
    : Error(
          "another Lumivale for Mac program (the app or `lumivale`) is changing the sign-in right "
          "now; try again in a moment") {}

SessionLockUnavailable::SessionLockUnavailable(std::string path, int code, std::string message)
    : Error(std::move(message)), path_(std::move(path)), code_(code) {}

SessionLock::SessionLock(std::optional<std::filesystem::path> fileURL, double timeout)
    : fileURL_(std::move(fileURL)), timeout_(timeout) {}

SessionLock::~SessionLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

SessionLock& SessionLock::inProcess() {
  static SessionLock lock(std::nullopt);
  return lock;
}

SessionLock& SessionLock::shared(const std::filesystem::path& fileURL) {
  static std::mutex registryMutex;
  static std::map<std::filesystem::path, std::unique_ptr<SessionLock>> registry;
  std::lock_guard guard(registryMutex);
  auto& lock = registry[fileURL.lexically_normal()];
  if (!lock) lock = std::make_unique<SessionLock>(fileURL);
  return *lock;
}

SessionLock::WaitLimit::WaitLimit(double seconds) : previous_(waitLimit) {
  waitLimit = seconds;
}

SessionLock::WaitLimit::~WaitLimit() {
  waitLimit = previous_;
}

double SessionLock::waitFor(bool reader) const {
  if (waitLimit) return *waitLimit;
  double limit = timeout_;
  if (reader) limit = std::min(limit, readerTimeout);
  if (std::this_thread::get_id() == mainThread) limit = std::min(limit, mainThreadTimeout);
  return limit;
}

void SessionLock::lockFile(Clock::time_point deadline) {
  const std::string path = fileURL_->string();
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    int code = errno;
    throw SessionLockUnavailable(
        path, code,
        fmt::format("Lumivale for Mac cannot open its sign-in lock file, {}: {}", path,
                    std::strerror(code)));
  }
  for (;;) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      descriptor_ = fd;
      return;
    }
    int code = errno;
    if (code == EWOULDBLOCK || code == EINTR) {
      if (Clock::now() >= deadline) {
        close(fd);
        throw SessionLockBusy();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    close(fd);
    if (code == ENOLCK || code == EOPNOTSUPP) {
      throw SessionLockUnavailable(
          path, code,
          fmt::format("Lumivale for Mac cannot lock its sign-in file in {}: the file system "
                      "does not support file locks",
                      folderOf(*fileURL_)));
    }
    throw SessionLockUnavailable(path, code,
                                 fmt::format("Lumivale for Mac could not use its sign-in lock "
                                             "file in {}: {}",
                                             folderOf(*fileURL_), std::strerror(code)));
  }
}

void SessionLock::acquire(bool reader) {
  auto deadline = after(waitFor(reader));
  std::unique_lock guard(state_);
  auto self = std::this_thread::get_id();
  if (owner_ == self) {
    ++depth_;
    return;
  }
  if (!released_.wait_until(guard, deadline, [&] { return !owner_; })) throw SessionLockBusy();
  owner_ = self;
  depth_ = 1;
  if (!fileURL_) return;
  // Owned now, so the mutex can go while another process is waited for.
  guard.unlock();
  try {
    lockFile(deadline);
  } catch (...) {
    guard.lock();
    owner_.reset();
    depth_ = 0;
    released_.notify_one();
    throw;
  }
}

void SessionLock::release() {
  std::unique_lock guard(state_);
  if (--depth_ > 0) return;
  // Still the owner until owner_ goes, so the file work needs no mutex and other
  // threads keep their own wait limits meanwhile.
  guard.unlock();
  if (settle_) {
    try {
      settle_();
    } catch (const std::exception& error) {
      logWarning(
          "the session generation could not be settled; readers keep reading the Keychain: {}",
          error.what());
    }
    settle_ = nullptr;
    marked_ = false;
  }
  if (descriptor_ >= 0) {
    flock(descriptor_, LOCK_UN);
    close(descriptor_);
    descriptor_ = -1;
  }
  guard.lock();
  owner_.reset();
  released_.notify_one();
}

void SessionLock::with(const std::function<void()>& body, bool reader) {
  acquire(reader);
  try {
    body();
  } catch (...) {
    release();
    throw;
  }
  release();
}

void SessionLock::change(const std::optional<SessionGenerationFile>& generation,
                         const std::function<void()>& body) {
  with([&] {
    if (generation && !marked_) {
      // The holder owns these fields, so they need no mutex of their own.
      marked_ = true;
      settle_ = [file = *generation] { file.advance(); };
      try {
        generation->markChanging();
      } catch (const std::exception& error) {
        logWarning("the session generation could not be marked as changing: {}", error.what());
      }
    }
    body();
  });
}

}  // namespace lumivale
