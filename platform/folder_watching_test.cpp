#include "platform/folder_watching.h"

#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include <gtest/gtest.h>

#include "core/error.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;

// Given a folder watched by the kernel: each report is counted, and a test waits for the next
// one (for a minute at most: on a loaded machine a report may be slow, never missing).
class FolderWatchingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-watching-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    top = pattern;
    fs::create_directories(top / "watched");
    watcher = FolderWatching::start(top / "watched", [this] {
      std::lock_guard guard(lock);
      ++reports;
      wake.notify_all();
    });
  }
  void TearDown() override {
    watcher.reset();
    fs::remove_all(top);
  }

  // True when a report comes after those already seen.
  bool reported() {
    std::unique_lock guard(lock);
    const int seen = taken;
    const bool came = wake.wait_for(guard, std::chrono::minutes(1), [&] { return reports > seen; });
    taken = reports;
    return came;
  }
  static void write(const fs::path& file) { std::ofstream(file) << "bytes"; }

  fs::path top;
  std::unique_ptr<FolderWatcher> watcher;
  std::mutex lock;
  std::condition_variable wake;
  int reports = 0;  // guarded by lock
  int taken = 0;
};

TEST_F(FolderWatchingTest, AFolderMadeLaterIsWatchedOnceItIsReported) {
  fs::create_directories(top / "watched/New");
  ASSERT_TRUE(reported());
  write(top / "watched/New/a.pdf");
  EXPECT_TRUE(reported());
}

TEST_F(FolderWatchingTest, ATreeMovedInIsWatchedToItsDepths) {
  fs::create_directories(top / "outside/Sub/Deeper");
  fs::rename(top / "outside", top / "watched/Moved");
  ASSERT_TRUE(reported());
  write(top / "watched/Moved/Sub/Deeper/a.pdf");
  EXPECT_TRUE(reported());
}

TEST(FolderWatching, AFolderThatIsNotThereIsSaidSo) {
  try {
    FolderWatching::start("/nonexistent/lumivale", [] {});
    FAIL() << "watched a folder that is not there";
  } catch (const Error& error) {
    EXPECT_EQ(error.message(),
              "could not watch /nonexistent/lumivale for changes: No such file or directory");
  }
}

}  // namespace
}  // namespace lumivale
