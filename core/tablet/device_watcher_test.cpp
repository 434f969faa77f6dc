// The device watcher on a scripted `adb track-devices`.
#include "core/tablet/device_watcher.h"

#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "core/tablet/testing/fake_adb_stream.h"

namespace lumivale {
namespace {

using testing::FakeAdbStreamRunner;

class DeviceWatcherTest : public ::testing::Test {
 protected:
  int changes() {
    std::lock_guard guard(lock_);
    return changes_;
  }
  std::function<void()> counter() {
    return [this] {
      std::lock_guard guard(lock_);
      ++changes_;
      changed_.notify_all();
    };
  }
  bool awaitChanges(int count) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, std::chrono::seconds(60), [&] { return changes_ >= count; });
  }

  FakeAdbStreamRunner runner;
  std::mutex lock_;
  std::condition_variable changed_;
  int changes_ = 0;
};

const std::string kListing = "127.0.0.1:5555\tdevice\n";  // 0x16 bytes

TEST_F(DeviceWatcherTest, AReportSplitAcrossReadsIsOneChange) {
  DeviceWatcher watcher(runner, counter());
  auto tracking = runner.stream(0);
  ASSERT_TRUE(tracking);
  EXPECT_EQ(tracking->arguments(), (std::vector<std::string>{"track-devices"}));
  tracking->output("00");
  tracking->output("16127.0.0.1:55");
  tracking->settle();
  EXPECT_EQ(changes(), 0) << "half a report is no report";
  tracking->output("55\tdevice\n");
  tracking->settle();
  EXPECT_EQ(changes(), 1);
}

TEST_F(DeviceWatcherTest, TwoReportsInOneReadAreTwoChanges) {
  DeviceWatcher watcher(runner, counter());
  auto tracking = runner.stream(0);
  ASSERT_TRUE(tracking);
  tracking->output("0000" + std::string("0016") + kListing);
  tracking->settle();
  EXPECT_EQ(changes(), 2);
}

TEST_F(DeviceWatcherTest, TrackingThatEndsIsAChangeAndStartsAgain) {
  DeviceWatcher watcher(runner, counter());
  auto first = runner.stream(0);
  ASSERT_TRUE(first);
  first->output("0000");
  first->errors("* daemon not running\n");
  first->exit(1);
  ASSERT_TRUE(awaitChanges(2)) << "one report, then the end of tracking";
  ASSERT_TRUE(runner.stream(1)) << "tracking starts again";
}

TEST_F(DeviceWatcherTest, AnAdbThatCannotStartIsTriedAgain) {
  DeviceWatcher watcher(runner, counter());
  runner.failOpens(1);
  runner.stream(0)->exit(0);
  // The second start fails; the third is made after a longer pause.
  EXPECT_TRUE(runner.stream(1));
  EXPECT_EQ(changes(), 1);
}

}  // namespace
}  // namespace lumivale
