// The real adb against the stand-in: how it is listed, and its shell.
#include <signal.h>

#include <chrono>
#include <fstream>
#include <future>
#include <random>
#include <sstream>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

using namespace std::chrono_literals;

// Quotes a text for the tablet's shell, which parses adb's command line again.
std::string shellQuoted(std::string_view text) {
  std::string quoted = "'";
  for (char c : text)
    quoted += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
  return quoted + "'";
}

class StandinAdbTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet_ = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet_.reset(); }
  static StandinTablet& tablet() { return *tablet_; }

 private:
  static inline std::unique_ptr<StandinTablet> tablet_;
};

TEST_F(StandinAdbTest, IsListedAsAnLv1WithTheExactDevicesLine) {
  ToolRun run = tablet().adbServer()->adb({"devices", "-l"});
  ASSERT_EQ(run.status, 0) << run.stderrData;
  std::string expected = fmt::format(
      "{:<22} device product:vext_tolva model:LV_1 device:tolva transport_id:", tablet().serial());
  std::istringstream lines(run.stdoutData);
  int found = 0;
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(expected) && line.size() > expected.size() &&
        line.find_first_not_of("0123456789", expected.size()) == std::string::npos)
      ++found;
  EXPECT_EQ(found, 1) << run.stdoutData;
}

TEST_F(StandinAdbTest, ShellGivesTheExitStatusWithStderrKeptApart) {
  ToolRun run = tablet().shell("echo out; echo err >&2; exit 7");
  EXPECT_EQ(run.status, 7);
  EXPECT_EQ(run.stdoutData, "out\n");
  EXPECT_EQ(run.stderrData, "err\n");

  ToolRun success = tablet().shell("true");
  EXPECT_EQ(success.status, 0);
  EXPECT_EQ(tablet().shell("kill -9 $$").status, 137) << "a signal reads as 128 + signal";
}

TEST_F(StandinAdbTest, ShellRunsMkshAndToyboxAsRootInTheTabletRoot) {
  ToolRun run = tablet().shell("echo $KSH_VERSION; id -u; readlink /sdcard; ls -d /data/local/tmp");
  EXPECT_EQ(run.status, 0) << run.stderrData;
  EXPECT_TRUE(run.stdoutData.starts_with("@(#)MIRBSD KSH")) << run.stdoutData;
  EXPECT_TRUE(run.stdoutData.ends_with("0\n/storage/emulated/0\n/data/local/tmp\n"))
      << run.stdoutData;
  EXPECT_EQ(tablet().shell("test -d /home || test -d /usr").status, 1)
      << "the host's folders stay out of sight";
}

TEST_F(StandinAdbTest, StandardInputReachesTheCommandWhole) {
  std::string input(3 * 1024 * 1024 + 17, '\0');
  std::mt19937 random(7);
  for (auto& byte : input)
    byte = static_cast<char>(random());
  ToolRun run = tablet().adbWithInput({"shell", "cat"}, input);
  EXPECT_EQ(run.status, 0) << run.stderrData;
  EXPECT_TRUE(run.stdoutData == input) << "got " << run.stdoutData.size() << " bytes";

  ToolRun counted = tablet().adbWithInput({"shell", "wc -c; read -r line; echo \"[$line]\""}, "");
  EXPECT_EQ(counted.stdoutData, "0\n[]\n") << "the end of input is passed on";
}

TEST_F(StandinAdbTest, ArgumentsArriveByteForByte) {
  const std::vector<std::string> arguments{"two words",    "\"double\" and 'single'",
                                           "line\nbreak",  "non-UTF-8 \xff\xfe\x80 bytes",
                                           "$HOME `x` \\", "*"};
  std::string command = "for a in";
  std::string expected;
  for (const auto& argument : arguments) {
    command += " " + shellQuoted(argument);
    expected += "<" + argument + ">";
  }
  command += "; do printf '<%s>' \"$a\"; done";
  ToolRun run = tablet().shell(command);
  EXPECT_EQ(run.status, 0) << run.stderrData;
  EXPECT_EQ(run.stdoutData, expected);

  ToolRun split = tablet().adb({"shell", "printf", "'[%s]'", "a", "'b c'"});
  EXPECT_EQ(split.stdoutData, "[a][b c]") << "adb joins its arguments with spaces";
}

TEST_F(StandinAdbTest, TheOldShellProtocolMergesStderrAndLosesTheStatus) {
  ToolRun run = tablet().adb({"shell", "-x", "echo out; echo err >&2; exit 7"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.stdoutData, "out\nerr\n");
  EXPECT_EQ(tablet().adb({"exec-out", "echo raw"}).stdoutData, "raw\n");
}

TEST_F(StandinAdbTest, AskedForATerminalTheShellGetsOne) {
  ToolRun run = tablet().adb({"shell", "-tt", "test -t 0 && test -t 1 && echo terminal; exit 4"});
  EXPECT_EQ(run.status, 4);
  EXPECT_EQ(run.stdoutData, "terminal\r\n") << "a terminal turns newlines into CR LF";
  EXPECT_EQ(tablet().shell("test -t 0 || echo pipes").stdoutData, "pipes\n");
}

TEST_F(StandinAdbTest, ClosingTheStreamKillsTheCommand) {
  // adb is killed by the run's deadline; its stream closes and the command must go too.
  ToolRun run = tablet().shell("echo $$ > /data/local/tmp/sleeper.pid; exec sleep 600", 3s);
  ASSERT_TRUE(run.timedOut);
  std::ifstream pidFile(tablet().hostPath("/data/local/tmp/sleeper.pid"));
  pid_t pid = 0;
  ASSERT_TRUE(pidFile >> pid);
  auto deadline = std::chrono::steady_clock::now() + 60s;
  while (::kill(pid, 0) == 0 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(20ms);
  EXPECT_NE(::kill(pid, 0), 0) << "sleep " << pid << " still runs";
}

TEST_F(StandinAdbTest, TwoAdbServersUseOneTabletAtOnce) {
  PrivateAdbServer other;
  ASSERT_EQ(other.adb({"connect", tablet().serial()}).status, 0);
  auto first = std::async(std::launch::async, [] { return tablet().shell("sleep 0.5; echo one"); });
  ToolRun second = other.adb({"-s", tablet().serial(), "shell", "sleep 0.5; echo two"});
  EXPECT_EQ(second.stdoutData, "two\n");
  EXPECT_EQ(first.get().stdoutData, "one\n");
}

TEST_F(StandinAdbTest, ServesManyStreamsAtOnce) {
  std::vector<std::future<std::string>> runs;
  for (int client = 0; client < 8; ++client)
    runs.push_back(std::async(std::launch::async, [client] {
      std::string outputs;
      for (int round = 0; round < 4; ++round)
        outputs +=
            tablet().shell(fmt::format("sleep 0.2; seq {} {}", client, client + round)).stdoutData;
      return outputs;
    }));
  for (int client = 0; client < 8; ++client) {
    std::string expected;
    for (int round = 0; round < 4; ++round)
      for (int value = client; value <= client + round; ++value)
        expected += fmt::format("{}\n", value);
    EXPECT_EQ(runs[client].get(), expected) << "client " << client;
  }
}

}  // namespace
}  // namespace lumivale::testing
