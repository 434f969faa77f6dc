// The helper as the shared clipboard runs it: installed and kept running through the real adb
// on the stand-in, reporting copies made on the tablet as they happen.
#include <chrono>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/clipboard/clip_helper.h"
#include "core/clipboard/clip_helper_process.h"
#include "core/clipboard/clip_wire.h"
#include "core/tablet/adb_bridge.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinTablet;

constexpr Seconds kPatience{60};

class ClipHelperStandinTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet.reset(); }

  void SetUp() override { ClipHelper::ensureInstalled(bridge, bridge, tablet->serial()); }

  std::unique_ptr<ClipHelperProcess> start(std::optional<std::int64_t> since = std::nullopt) {
    auto helper = std::make_unique<ClipHelperProcess>(
        bridge, ClipHelperProcess::Options{.serial = tablet->serial(), .since = since});
    EXPECT_EQ(next(*helper).incoming, (ClipWire::Incoming{ClipWire::Ready{33, "host file"}}));
    return helper;
  }

  static ClipWire::Decoded next(ClipHelperProcess& helper) {
    auto line = helper.nextLine(kPatience);
    if (!line) throw std::runtime_error("the helper wrote nothing: " + helper.stderrTail());
    return ClipWire::decodeLine(*line);
  }

  static std::int64_t copiedAt() {
    return nlohmann::json::parse(tablet->clipboardRecord())["at"].get<std::int64_t>();
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  AdbBridge bridge{"/usr/bin/adb", tablet->adbEnvironment(), StandinHooks{tablet->serial(), false}};
};

TEST_F(ClipHelperStandinTest, TheHelperIsPushedOnceAndThenFound) {
  ASSERT_EQ(tablet->shell("rm -f /data/local/tmp/lumivale-clip.dex").status, 0);
  EXPECT_TRUE(ClipHelper::ensureInstalled(bridge, bridge, tablet->serial()));
  EXPECT_FALSE(ClipHelper::ensureInstalled(bridge, bridge, tablet->serial()));
  // Nothing staged is left beside it.
  EXPECT_EQ(tablet->shell("ls -a /data/local/tmp").stdoutData, ".\n..\nlumivale-clip.dex\n");
}

TEST_F(ClipHelperStandinTest, OurSetIsAckedAndItsEchoDroppedThenTabletCopiesArrive) {
  auto helper = start();
  ASSERT_TRUE(helper->send(ClipWire::setLine("from the computer \u00e9"), kPatience));
  EXPECT_EQ(next(*helper).incoming, ClipWire::Incoming{ClipWire::Ack{}});

  tablet->copyOnTablet(R"({"text":"copied on the tablet"})");
  auto copied = next(*helper);
  EXPECT_EQ(copied.incoming, (ClipWire::Incoming{ClipWire::Clip{"copied on the tablet", false}}));
  EXPECT_EQ(copied.at, copiedAt());

  tablet->copyOnTablet(R"({"text":"hunter2","sensitive":true})");
  EXPECT_EQ(next(*helper).incoming, (ClipWire::Incoming{ClipWire::Skipped{"sensitive", false}}));

  EXPECT_EQ(helper->finish(kPatience).reason, AdbStreamEnd::Reason::stopped);
}

TEST_F(ClipHelperStandinTest, ARestartedHelperReportsOnlyWhatWasCopiedSinceTheLastClip) {
  tablet->copyOnTablet(R"({"text":"seen before the restart"})");
  const std::int64_t seen = copiedAt();
  {
    // Nothing newer than what was seen: the first report is the next copy.
    auto helper = start(seen);
    tablet->copyOnTablet(R"({"text":"after the restart"})");
    EXPECT_EQ(next(*helper).incoming,
              (ClipWire::Incoming{ClipWire::Clip{"after the restart", false}}));
  }
  // Copied while no helper ran: reported at once.
  auto helper = start(seen);
  EXPECT_EQ(next(*helper).incoming,
            (ClipWire::Incoming{ClipWire::Clip{"after the restart", false}}));
}

}  // namespace
}  // namespace lumivale
