// Shell commands asked of the adb server directly, without starting adb: through the
// real adb server on the stand-in, each compared with what adb itself gives.
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_locate.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinOptions;
using testing::StandinTablet;

const std::string kAdb = "/usr/bin/adb";
// Where no adb is: a bridge on it can only answer through the server.
const std::string kNoAdb = "/nonexistent/adb";

// A bridge as the program builds one: knowing adb's version, it may ask the server.
AdbBridge serverBridge(const StandinTablet& tablet, const std::string& adbPath = kAdb) {
  return AdbBridge(adbPath, tablet.adbEnvironment(), StandinHooks{tablet.serial(), false},
                   AdbLocate::answeredVersion(kAdb));
}

// A bridge that does not know the version, so runs every command through adb.
AdbBridge adbBridge(const StandinTablet& tablet) {
  return AdbBridge(kAdb, tablet.adbEnvironment(), StandinHooks{tablet.serial(), false});
}

TEST(ServerShellTest, AShellThroughTheServerGivesWhatAdbGives) {
  StandinTablet tablet;
  AdbBridge direct = serverBridge(tablet, kNoAdb);
  AdbBridge viaAdb = adbBridge(tablet);
  const std::vector<std::string> commands{
      "echo out; echo err >&2; printf 'no line feed'; exit 3",
      // Far more than one packet, cut anywhere, with every byte value in it.
      "i=0; while [ $i -lt 2000 ]; do printf '\\000\\377 line %d\\n' $i; i=$((i+1)); done",
      // Its input is empty: a reader ends at once.
      "cat; echo read",
      "exit 255",
  };
  for (const auto& command : commands) {
    const ToolRun ours = direct.run(tablet.serial(), {"shell", command}, Seconds(60), nullptr);
    const ToolRun theirs = viaAdb.run(tablet.serial(), {"shell", command}, Seconds(60), nullptr);
    EXPECT_EQ(ours, theirs) << command;
  }
  // Several arguments are one command, joined by spaces, as adb joins them.
  EXPECT_EQ(direct.runText(tablet.serial(), {"shell", "echo", "a", "b"}, Seconds(60)), "a b\n");

  std::string streamed;
  const ToolRun run = direct.stream(tablet.serial(), {"shell", "seq 1 20000"}, Seconds(60), nullptr,
                                    [&](std::string_view chunk) { streamed.append(chunk); });
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.stdoutData.empty());
  EXPECT_EQ(streamed, viaAdb.runText(tablet.serial(), {"shell", "seq 1 20000"}, Seconds(60)));
}

TEST(ServerShellTest, WhatTheServerRefusesIsLeftToAdb) {
  // No shell protocol on the tablet: adb's own older form is used, as adb would choose it.
  StandinTablet oldShell(StandinOptions().fault("v1-shell"));
  const std::string command = "echo out; echo err >&2; exit 3";
  EXPECT_EQ(serverBridge(oldShell).run(oldShell.serial(), {"shell", command}, Seconds(60), nullptr),
            adbBridge(oldShell).run(oldShell.serial(), {"shell", command}, Seconds(60), nullptr));
  EXPECT_THROW(serverBridge(oldShell, kNoAdb)
                   .run(oldShell.serial(), {"shell", command}, Seconds(60), nullptr),
               AdbError);

  // A serial the server does not know: adb's own words.
  StandinTablet tablet;
  const ToolRun unknown =
      serverBridge(tablet).run("127.0.0.1:9", {"shell", "true"}, Seconds(60), nullptr);
  EXPECT_EQ(unknown, adbBridge(tablet).run("127.0.0.1:9", {"shell", "true"}, Seconds(60), nullptr));
  EXPECT_NE(unknown.status, 0);
}

TEST(ServerShellTest, ATabletThatDoesNotAnswerRunsOutOfTimeAndACancelEndsTheWait) {
  StandinTablet tablet;
  AdbBridge direct = serverBridge(tablet, kNoAdb);
  tablet.freeze();
  const ToolRun frozen = direct.run(tablet.serial(), {"shell", "true"}, Seconds(1), nullptr);
  EXPECT_TRUE(frozen.timedOut);
  EXPECT_FALSE(frozen.cancelled);

  StopToken stop;
  auto waiting = std::async(std::launch::async, [&] {
    return direct.run(tablet.serial(), {"shell", "true"}, Seconds(600), &stop);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  stop.cancel();
  const ToolRun cancelled = waiting.get();
  EXPECT_TRUE(cancelled.cancelled);
  EXPECT_FALSE(cancelled.timedOut);
  tablet.thaw();
}

}  // namespace
}  // namespace lumivale
