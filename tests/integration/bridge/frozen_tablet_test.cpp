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

TEST_F(FrozenTabletTest, ACopyThatStopsMovingGivesUpWithTheSentence) {
  // Copies far larger than their first seconds carry (sparse, so cheap to make), whose
  // size would allow them many minutes: the tablet stops answering once both are under way.
  constexpr std::uintmax_t size = 8ull << 30;
  std::ofstream(folder / "big.bin").close();
  std::filesystem::resize_file(folder / "big.bin", size);
  const auto onTablet = tablet.storageFolder() / "Download" / "big.bin";
  std::filesystem::create_directories(onTablet.parent_path());
  std::ofstream(onTablet).close();
  std::filesystem::resize_file(onTablet, size);
  std::filesystem::create_directories(folder / "pulled");

  std::vector<std::shared_ptr<Spawn::Child>> copies;
  for (const auto& [arguments, adbCommand] :
       std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"files", "push", (folder / "big.bin").string(), "Download", "--as", "copy.bin"},
            "push"},
           {{"files", "pull", "Download/big.bin", (folder / "pulled").string()}, "pull"}}) {
    copies.push_back(Spawn::launch(LUMIVALE_CLI, command(arguments), environment, false, true));
    ASSERT_TRUE(testing::adbRunUnderWay(copies.back()->pid(), adbCommand)) << adbCommand;
  }
  tablet.freeze();
  for (auto& copy : copies) {
    EXPECT_EQ(copy->wait(), 1);
    std::string said(4096, '\0');
    said.resize(static_cast<std::size_t>(
        std::max<ssize_t>(0, ::read(copy->stderrPipe()->get(), said.data(), said.size()))));
    EXPECT_NE(said.find(notAnswering), std::string::npos) << said;
  }
}

TEST_F(FrozenTabletTest, AnInterruptedCommandLeavesNoAdbBehind) {
  // What a command leaves running when it ends becomes this process's, to be counted.
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  tablet.freeze();
  for (int signal : {SIGINT, SIGTERM}) {
    auto child = Spawn::launch(LUMIVALE_CLI, command({"files", "ls", "Download"}), environment,
                               false, false);
    ASSERT_TRUE(testing::adbRunUnderWay(child->pid(), "", tablet.adbServer()->port()))
        << "the command never reached the tablet";
    // Sent to the program alone, as a service manager or `kill PID` does, not to its group.
    ::kill(child->pid(), signal);
    EXPECT_EQ(child->wait(), 130) << strsignal(signal);
    EXPECT_EQ(testing::adbChildren(), 0) << strsignal(signal);
  }
  ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
}  // namespace lumivale
