#include "core/account/session_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale::testing {
namespace {

// Holds the lock on `file` in a child process until the returned pipe is closed.
struct LockHolder {
  pid_t pid = -1;
  int release = -1;

  explicit LockHolder(const std::filesystem::path& file) {
    int held[2], done[2];
    if (pipe(held) != 0 || pipe(done) != 0) throw std::runtime_error("pipe failed");
    pid = fork();
    if (pid == 0) {
      close(held[0]);
      close(done[1]);
      SessionLock lock(file);
      lock.with([&] {
        char byte = 'h';
        if (write(held[1], &byte, 1) != 1) _exit(2);
        if (read(done[0], &byte, 1) < 0) _exit(3);  // returns when the parent closes its end
      });
      _exit(0);
    }
    close(held[1]);
    close(done[0]);
    release = done[1];
    char byte;
    if (read(held[0], &byte, 1) != 1) throw std::runtime_error("the holder did not lock");
    close(held[0]);
  }

  int finish() {
    close(release);
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
  }
};

TEST(SessionLockAcrossProcesses, AHolderElsewhereMakesAReaderGiveUp) {
  TemporaryFolder folder;
  auto file = folder.path() / "session.lock";
  LockHolder holder(file);
  SessionLock& lock = SessionLock::shared(file);
  bool ran = false;
  {
    SessionLock::WaitLimit limit(0.2);
    EXPECT_THROW(lock.with([&] { ran = true; }, true), SessionLockBusy);
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(holder.finish(), 0);
  lock.with([&] { ran = true; }, true);
  EXPECT_TRUE(ran);
}

TEST(SessionLockAcrossProcesses, AFileThatCannotBeOpenedIsReported) {
  SessionLock lock(std::filesystem::path("/nonexistent-folder/session.lock"));
  try {
    lock.with([] {});
    FAIL() << "locked a file in a missing folder";
  } catch (const SessionLockUnavailable& error) {
    EXPECT_EQ(error.message().rfind("Lumivale for Mac cannot open its sign-in lock file, ", 0), 0u);
    EXPECT_EQ(error.code(), ENOENT);
  }
}

TEST(SessionLockWithinAProcess, ChangesNestAndSettleTheGenerationOnce) {
  TemporaryFolder folder;
  auto generation = SessionGenerationFile::in(folder.path());
  EXPECT_EQ(generation.read(), "initial");
  SessionLock lock(folder.path() / "session.lock");
  std::string during;
  lock.change(generation, [&] {
    lock.change(generation, [&] { during = generation.read(); });
    // Still changing: only the outermost release settles.
    EXPECT_EQ(generation.read(), during);
  });
  EXPECT_EQ(during.rfind(SessionGenerationFile::changingPrefix, 0), 0u);
  std::string settled = generation.read();
  EXPECT_NE(settled.rfind(SessionGenerationFile::changingPrefix, 0), 0u);
  EXPECT_NE(settled, "initial");

  // A failing body still releases the lock and settles.
  EXPECT_THROW(lock.change(generation, [] { throw std::runtime_error("body failed"); }),
               std::runtime_error);
  EXPECT_NE(generation.read(), settled);
  EXPECT_NO_THROW(lock.with([] {}));

  auto unreadable = SessionGenerationFile{folder.path()};  // a folder is no generation file
  EXPECT_EQ(unreadable.read().rfind(SessionGenerationFile::unreadablePrefix, 0), 0u);
}

}  // namespace
}  // namespace lumivale::testing
