#pragma once

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "core/account/session_generation_file.h"
#include "core/error.h"

namespace lumivale {

// Another process held the sign-in lock for longer than this caller may wait.
class SessionLockBusy : public Error {
 public:
  SessionLockBusy();
  // The same situation as the app's windows word it.
  static constexpr const char* windowMessage =
      "Lumivale for Mac is changing the sign-in in another window or in Terminal. Try again in a "
      "moment.";
};

// The lock file could not be opened or locked at all.
class SessionLockUnavailable : public Error {
 public:
  SessionLockUnavailable(std::string path, int code, std::string message);
  const std::string& path() const { return path_; }
  int code() const { return code_; }

 private:
  std::string path_;
  int code_;
};

// Serialises changes of the stored session token: between threads (re-entrant per
// thread) and between processes (an advisory lock on a lock file, tried without
// blocking every 10 ms until the caller's wait limit).
class SessionLock {
 public:
  static constexpr double mainThreadTimeout = 1.0;
  static constexpr double readerTimeout = 2.0;

  // `fileURL` none: a lock within this process only.
  explicit SessionLock(std::optional<std::filesystem::path> fileURL, double timeout = 10.0);
  SessionLock(const SessionLock&) = delete;
  SessionLock& operator=(const SessionLock&) = delete;
  ~SessionLock();

  static SessionLock& inProcess();
  // One lock object per lock file, so threads of this process queue on its mutex
  // rather than on the file.
  static SessionLock& shared(const std::filesystem::path& fileURL);

  // Runs `body` holding the lock. Readers wait at most readerTimeout. Throws
  // SessionLockBusy or SessionLockUnavailable, or what `body` throws.
  void with(const std::function<void()>& body, bool reader = false);
  // The same for a change of the stored token: `generation` shows "changing-" until
  // the outermost holder releases the lock, then a new generation.
  void change(const std::optional<SessionGenerationFile>& generation,
              const std::function<void()>& body);

  // Caps how long this thread waits for any session lock while it lives.
  class WaitLimit {
   public:
    explicit WaitLimit(double seconds);
    ~WaitLimit();
    WaitLimit(const WaitLimit&) = delete;
    WaitLimit& operator=(const WaitLimit&) = delete;

   private:
    std::optional<double> previous_;
  };

 private:
  double waitFor(bool reader) const;
  void acquire(bool reader);
  void release();
  void lockFile(std::chrono::steady_clock::time_point deadline);

  const std::optional<std::filesystem::path> fileURL_;
  const double timeout_;
  std::mutex state_;
  std::condition_variable released_;
  std::optional<std::thread::id> owner_;
  int depth_ = 0;
  int descriptor_ = -1;
  bool marked_ = false;
  std::function<void()> settle_;
};

}  // namespace lumivale
