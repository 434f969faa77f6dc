// A tablet that stops answering, and a command interrupted while it waits on one: run
// through `lumivale` as a user would, on the stand-in frozen in place (SIGSTOP).
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"
#include "tests/integration/adb_children.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinTablet;

const std::string notAnswering = "Your Lumivale is not answering. Wake it, or plug it in again.";

class FrozenTabletTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-frozen-XXXXXX";
    folder = ::mkdtemp(pattern);
    environment = tablet.adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = folder.string();
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet.serial();
    std::ofstream(folder / "note.txt") << "a note\n";
  }
  void TearDown() override {
    tablet.thaw();
    std::filesystem::remove_all(folder);
  }

  std::vector<std::string> command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--serial", tablet.serial()});
    return arguments;
  }

  StandinTablet tablet;
  std::filesystem::path folder;
  Environment environment;
};

TEST_F(FrozenTabletTest, EveryCommandGivesUpWithTheSentence) {
  // Each command's own deadlines, cut short so the suite does not wait them out.
  environment["LUMIVALE_TABLET_TIMEOUT_SCALE"] = "0.05";
  tablet.freeze();
  const std::vector<std::vector<std::string>> commands{
      {"info"},
      {"files", "ls", "Download"},
      {"files", "ls", "--json"},
      {"setting", "get", "warmth"},
      {"files", "push", (folder / "note.txt").string(), "Download"},
  };
  for (const auto& arguments : commands) {
    ToolRun run = ToolRun::runIn(environment, LUMIVALE_CLI, command(arguments), Seconds(300));
    EXPECT_EQ(run.status, 1) << arguments[0] << " " << arguments[1];
    EXPECT_EQ(run.stderrData, "lumivale: " + notAnswering + "\n") << arguments[0];
  }
  ToolRun status = ToolRun::runIn(environment, LUMIVALE_CLI, command({"status"}), Seconds(300));
  EXPECT_EQ(status.status, 1);
  EXPECT_NE((status.stdoutData + status.stderrData).find(notAnswering), std::string::npos)
      << status.stdoutData << status.stderrData;
}

TEST_F(FrozenTabletTest, AnInterruptedCommandLeavesNoAdbBehind) {
  // What a command leaves running when it ends becomes this process's, to be counted.
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  tablet.freeze();
  for (int signal : {SIGINT, SIGTERM}) {
    auto child = Spawn::launch(LUMIVALE_CLI, command({"files", "ls", "Download"}), environment,
                               false, false);
    ASSERT_TRUE(testing::adbRunUnderWay(child->pid())) << "the command never reached the tablet";
    // Sent to the program alone, as a service manager or `kill PID` does, not to its group.
    ::kill(child->pid(), signal);
    EXPECT_EQ(child->wait(), 130) << strsignal(signal);
    EXPECT_EQ(testing::adbChildren(), 0) << strsignal(signal);
  }
  ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
}  // namespace lumivale
