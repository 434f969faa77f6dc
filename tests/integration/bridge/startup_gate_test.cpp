// Work on a tablet that has just appeared waits until it has finished starting.
#include <stdlib.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/integration/bridge/lumivale_run.h"

namespace lumivale {
namespace {

using testing::StandinOptions;
using testing::StandinTablet;

class StartupGateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-gate-config-XXXXXX";
    configFolder = ::mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(configFolder); }

  std::filesystem::path configFolder;
};

TEST_F(StartupGateTest, WorkWaitsForATabletStillStartingAndGivesUpWithASentence) {
  // Still starting for two more seconds when adb first sees it.
  StandinTablet tablet(StandinOptions().fault("booting=2"));
  ToolRun info = testing::runLumivale(tablet, configFolder, {"warmth"});
  EXPECT_EQ(info.status, 0) << info.stderrData;
  EXPECT_EQ(tablet.shell("getprop sys.boot_completed").stdoutData, "1\n");

  // Seen started on this connection, it is not asked again...
  tablet.setFault("booting=3600");
  EXPECT_EQ(testing::runLumivale(tablet, configFolder, {"warmth"}).status, 0);

  // ...but once it appears anew, work waits, and gives up with a sentence of ours.
  tablet.disconnect();
  ASSERT_EQ(tablet.connect().status, 0);
  ASSERT_EQ(tablet.waitForState("device"), "device");
  ToolRun refused = testing::runLumivale(tablet, configFolder, {"warmth"}, true,
                                         {{"LUMIVALE_TABLET_TIMEOUT_SCALE", "0.05"}});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stderrData,
            "lumivale: Your Lumivale is still starting. Wait until it shows its home screen, then "
            "try again.\n");
  tablet.clearFault("booting");
  EXPECT_EQ(testing::runLumivale(tablet, configFolder, {"warmth"}).status, 0);
}

}  // namespace
}  // namespace lumivale
