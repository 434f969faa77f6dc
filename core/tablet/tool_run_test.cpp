#include "core/tablet/tool_run.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <gtest/gtest.h>

namespace lumivale {
namespace {

ToolRun shell(const std::string& script, Seconds timeout = Seconds(10),
              const StopToken* cancel = nullptr) {
  return ToolRun::run("/bin/sh", {"-c", script}, timeout, cancel);
}

TEST(ToolRunTest, CollectsBothStreamsAndTheExitStatus) {
  auto run = shell("printf 'out'; printf 'line one\\nline two\\n' >&2; exit 3");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.stdoutData, "out");
  EXPECT_EQ(run.stderrLines(), (std::vector<std::string>{"line one", "line two"}));
  EXPECT_FALSE(run.timedOut);
  EXPECT_FALSE(run.cancelled);
}

TEST(ToolRunTest, AChildFillingBothPipesFinishesWithoutBlocking) {
  // 8 MiB on each stream: far beyond a pipe's buffer, so both must be drained at once.
  auto run = shell("head -c 8388608 /dev/zero >&2 & head -c 8388608 /dev/zero; wait");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.stdoutData.size(), 8388608u);
  EXPECT_EQ(run.stderrData.size(), 8388608u);
}

// The child's output, as streamIn hands it over.
struct Streamed {
  ToolRun run;
  std::vector<std::string> chunks;
};

Streamed streamedShell(const std::string& script, const OutputChunks& alsoDo = {},
                       Seconds timeout = Seconds(60), const StopToken* stop = nullptr) {
  Streamed streamed;
  streamed.run = ToolRun::streamIn(ToolRun::environment(), "/bin/sh", {"-c", script}, timeout, stop,
                                   [&](std::string_view chunk) {
                                     streamed.chunks.emplace_back(chunk);
                                     if (alsoDo) alsoDo(chunk);
                                   });
  return streamed;
}

TEST(ToolRunTest, StreamedOutputArrivesWhileTheChildRuns) {
  // The child goes on only once the first piece has reached us: through a FIFO that the
  // reader writes to, so nothing waits on a clock.
  const std::string fifo = ::testing::TempDir() + "tool_run_fifo." + std::to_string(::getpid());
  std::filesystem::remove(fifo);
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  bool answered = false;
  auto streamed = streamedShell("printf first; read line <'" + fifo + "'; printf \" $line\"",
                                [&](std::string_view) {
                                  if (answered) return;
                                  answered = true;
                                  std::ofstream(fifo) << "second\n";
                                });
  std::filesystem::remove(fifo);
  EXPECT_EQ(streamed.run.status, 0);
  ASSERT_GE(streamed.chunks.size(), 2u);
  EXPECT_EQ(streamed.chunks.front(), "first");
  EXPECT_EQ(streamed.chunks.back(), " second");
  EXPECT_TRUE(streamed.run.stdoutData.empty());
}

TEST(ToolRunTest, AStreamedRunKeepsItsDeadlineAndItsErrors) {
  auto streamed = streamedShell("printf out; echo said >&2; exec sleep 30", {}, Seconds(0.2));
  EXPECT_TRUE(streamed.run.timedOut);
  EXPECT_EQ(streamed.run.status, 137);
  EXPECT_EQ(streamed.run.stderrData, "said\n");
  EXPECT_EQ(streamed.chunks, std::vector<std::string>{"out"});
}

TEST(ToolRunTest, AReaderThatThrowsLeavesNoChildBehind) {
  // The shell says its process id and becomes a long sleep.
  pid_t child = 0;
  EXPECT_THROW(streamedShell("echo $$; exec sleep 30",
                             [&](std::string_view chunk) {
                               child = std::stoi(std::string(chunk));
                               throw std::runtime_error("the reader gave up");
                             }),
               std::runtime_error);
  ASSERT_GT(child, 0);
  // Killed and reaped before the throw went on: the id names no process any more.
  EXPECT_EQ(::kill(child, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(ToolRunTest, ASleeperPastItsTimeoutIsKilled) {
  auto run = ToolRun::run("/bin/sleep", {"30"}, Seconds(0.2));
  EXPECT_TRUE(run.timedOut);
  EXPECT_FALSE(run.cancelled);
  EXPECT_EQ(run.status, 137);
}

TEST(ToolRunTest, AGrandchildHoldingThePipesDoesNotOutliveTheDeadline) {
  // The shell is killed at the deadline; the sleep it left behind keeps stdout open.
  auto run = shell("sleep 30 & wait", Seconds(0.2));
  EXPECT_TRUE(run.timedOut);
  EXPECT_EQ(run.status, 137);
}

TEST(ToolRunTest, AChildThatClosesItsStreamsEarlyStillMeetsTheDeadline) {
  auto run = shell("echo early; exec >&- 2>&-; sleep 30", Seconds(1));
  EXPECT_TRUE(run.timedOut);
  EXPECT_EQ(run.status, 137);
  EXPECT_EQ(run.stdoutData, "early\n");
}

TEST(ToolRunTest, ASignalEndingTheChildReads128PlusTheSignal) {
  auto run = shell("kill -TERM $$");
  EXPECT_EQ(run.status, 128 + SIGTERM);
  EXPECT_FALSE(run.timedOut);
}

TEST(ToolRunTest, CancelBeforeTheRunStartsNoChild) {
  ToolCancel cancel;
  cancel.cancel();
  // The path does not exist: had a child been started, launching would have failed.
  auto run = ToolRun::run("/nonexistent/tool", {}, Seconds(5), &cancel);
  EXPECT_TRUE(run.cancelled);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.stdoutData.empty());
}

TEST(ToolRunTest, CancelDuringTheRunKillsTheChild) {
  ToolCancel cancel;
  // The child marks that it runs, so the cancel cannot come before it starts.
  std::string started = ::testing::TempDir() + "tool_run_started." + std::to_string(::getpid());
  std::filesystem::remove(started);
  auto pending = std::async(std::launch::async, [&] {
    return shell(": >'" + started + "'; exec sleep 30", Seconds(60), &cancel);
  });
  while (!std::filesystem::exists(started))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  std::filesystem::remove(started);
  cancel.cancel();
  auto run = pending.get();
  EXPECT_TRUE(run.cancelled);
  EXPECT_FALSE(run.timedOut);
  EXPECT_EQ(run.status, 137);
}

TEST(ToolRunTest, AStepThatRunsOutOfItsTokensBudgetTimesOut) {
  StopToken command = StopToken::within(Seconds(0.2));
  auto run = ToolRun::run("/bin/sleep", {"30"}, Seconds(60), &command);
  EXPECT_TRUE(run.timedOut);
  EXPECT_FALSE(run.cancelled);
  EXPECT_EQ(run.status, 137);
}

TEST(ToolRunTest, AnAttachedChildIsKilledByTheCancelOfItsToken) {
  ToolCancel cancel;
  auto child = Spawn::launch("/bin/sleep", {"30"}, ToolRun::environment(), false, false);
  EXPECT_TRUE(cancel.attach(child));
  cancel.cancel();
  EXPECT_EQ(child->wait(), 137);
  auto late = Spawn::launch("/bin/sleep", {"30"}, ToolRun::environment(), false, false);
  EXPECT_FALSE(cancel.attach(late));
  late->signalIfRunning(SIGKILL);
  late->wait();
}

TEST(ToolRunTest, CancelAfterTheRunChangesNothing) {
  ToolCancel cancel;
  auto run = shell("exit 0", Seconds(5), &cancel);
  cancel.cancel();
  EXPECT_FALSE(run.cancelled);
  EXPECT_EQ(run.status, 0);
}

TEST(ToolRunTest, AMissingToolFailsWithTheSystemText) {
  try {
    ToolRun::run("/nonexistent/tool", {}, Seconds(5));
    FAIL() << "expected Spawn::Failure";
  } catch (const Spawn::Failure& failure) {
    EXPECT_EQ(failure.message(),
              std::string("could not launch /nonexistent/tool: ") + std::strerror(ENOENT));
    EXPECT_EQ(failure.code(), ENOENT);
  }
}

TEST(ToolRunTest, TheChildSeesOnlyPathAndLang) {
  ::setenv("LUMIVALE_LEAK_CHECK", "visible", 1);
  auto run = ToolRun::run("/usr/bin/env", {}, Seconds(5));
  ::unsetenv("LUMIVALE_LEAK_CHECK");
  EXPECT_EQ(run.stdoutData, "LANG=en_US.UTF-8\nPATH=/usr/bin:/bin:/usr/sbin:/sbin\n");
}

TEST(ToolRunTest, NoParentDescriptorReachesTheChild) {
  // A descriptor deliberately left inheritable, as a careless library might.
  int leaked = ::open("/dev/null", O_RDONLY);
  ASSERT_GE(leaked, 3);
  auto run = ToolRun::run("/bin/ls", {"/proc/self/fd"}, Seconds(5));
  ::close(leaked);
  // ls itself opens one descriptor to read the folder.
  EXPECT_EQ(run.stdoutData.substr(0, 6), "0\n1\n2\n");
  EXPECT_LE(run.stdoutData.size(), 8u) << run.stdoutData;
}

TEST(SpawnTest, AKillAfterExitButBeforeReapingSendsNothing) {
  auto child = Spawn::launch("/bin/true", {}, ToolRun::environment(), false, false);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_FALSE(child->signalIfRunning(SIGKILL));
}

}  // namespace
}  // namespace lumivale
