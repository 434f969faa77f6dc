// The stand-in's faults, and what the real adb makes of them.
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/eventually.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

using namespace std::chrono_literals;

void writeBytes(const std::filesystem::path& path, size_t size) {
  std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

TEST(StandinFaultsTest, TwoStandinsAreTwoTablets) {
  StandinTablet first;
  StandinTablet second(StandinOptions().through(first.adbServer()));
  EXPECT_NE(first.serial(), second.serial());
  EXPECT_EQ(first.state(), "device");
  EXPECT_EQ(second.state(), "device");
  first.shell("echo first > /sdcard/who");
  EXPECT_EQ(first.shell("cat /sdcard/who").stdoutData, "first\n");
  EXPECT_NE(second.shell("cat /sdcard/who").status, 0) << "each has its own storage";
}

TEST(StandinFaultsTest, UnauthorizedIsNeverAccepted) {
  StandinTablet tablet(StandinOptions().fault("unauthorized"));
  EXPECT_EQ(tablet.waitForState("unauthorized"), "unauthorized");
  // adb goes back to offering its keys now and then ("still authorizing"), so the
  // refusal naming the missing approval is waited for; no command ever runs.
  ToolRun run;
  EXPECT_TRUE(eventually([&] {
    run = tablet.shell("true");
    EXPECT_EQ(run.status, 1) << run.stdoutData;
    return run.stderrData.find("unauthorized") != std::string::npos;
  })) << run.stderrData;
}

TEST(StandinFaultsTest, OfflineNeverAnswersTheHandshake) {
  StandinTablet tablet(StandinOptions().fault("offline").withoutConnecting());
  ToolRun connect = tablet.connect();  // adb gives up after its own 10 s
  EXPECT_NE(connect.stdoutData.find("failed to connect to"), std::string::npos)
      << connect.stdoutData;
  EXPECT_EQ(tablet.waitForState("offline"), "offline");
}

TEST(StandinFaultsTest, AnOldShellHasNoExitStatus) {
  StandinTablet tablet(StandinOptions().fault("v1-shell"));
  ToolRun run = tablet.shell("echo out; echo err >&2; exit 3");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.stdoutData, "out\nerr\n");
  ToolRun noPty = tablet.adb({"shell", "-T", "true"});
  EXPECT_NE(noPty.stderrData.find("device only supports allocating a pty"), std::string::npos)
      << noPty.stderrData;
}

TEST(StandinFaultsTest, FaultsSwitchWhileRunning) {
  StandinTablet tablet;
  auto local = tablet.dataFolder() / "four-mib.bin";
  writeBytes(local, 4 * 1024 * 1024);

  tablet.setFault("drop-after=1048576");
  ToolRun push = tablet.adb({"push", local.string(), "/sdcard/four-mib.bin"});
  EXPECT_NE(push.status, 0) << "a transfer cut short fails";
  tablet.clearFault("drop-after");
  tablet.connect();
  EXPECT_EQ(tablet.adb({"wait-for-device"}, 60s).status, 0);
  EXPECT_EQ(tablet.adb({"push", local.string(), "/sdcard/four-mib.bin"}).status, 0);

  tablet.setFault("drop-after=1048576");
  EXPECT_NE(tablet.adb({"pull", "/sdcard/four-mib.bin", (local.string() + ".back")}).status, 0);
  tablet.clearFault("drop-after");
  tablet.connect();
  EXPECT_EQ(tablet.adb({"wait-for-device"}, 60s).status, 0);

  tablet.setFault("drop-at=sha256sum");
  EXPECT_NE(tablet.shell("sha256sum /sdcard/four-mib.bin").status, 0);
  tablet.clearFaults();
  tablet.connect();
  EXPECT_EQ(tablet.adb({"wait-for-device"}, 60s).status, 0);

  tablet.setFault("slow=200");
  EXPECT_EQ(tablet.faults(), std::vector<std::string>{"slow=200"});
  EXPECT_EQ(tablet.shell("echo late").stdoutData, "late\n");
  tablet.clearFaults();
  EXPECT_TRUE(tablet.faults().empty());
}

TEST(StandinFaultsTest, ADroppedConnectionTakesItsCommandsAlong) {
  StandinTablet tablet;
  auto pidFile = tablet.hostPath("/data/local/tmp/sleeper.pid");
  auto sleeper = std::async(std::launch::async, [&] {
    return tablet.shell("echo $$ > /data/local/tmp/sleeper.pid; exec sleep 600", 120s);
  });
  auto deadline = std::chrono::steady_clock::now() + 60s;
  pid_t pid = 0;
  while (!(std::ifstream(pidFile) >> pid) && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(20ms);
  ASSERT_GT(pid, 0);
  tablet.dropConnections();
  EXPECT_FALSE(sleeper.get().timedOut) << "adb sees the connection go";
  while (::kill(pid, 0) == 0 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(20ms);
  EXPECT_NE(::kill(pid, 0), 0) << "sleep " << pid << " still runs";
}

TEST(StandinFaultsTest, ToolsCanBeHiddenAndSpaceMadeShort) {
  StandinTablet tablet;
  for (const auto* fault :
       {"hide=sha256sum", "hide=realpath", "hide=find-printf", "hide=readlink-e"})
    tablet.setFault(fault);
  EXPECT_EQ(tablet.shell("sha256sum /system/etc/passwd").status, 127);
  EXPECT_EQ(tablet.shell("realpath /sdcard").status, 127);
  ToolRun find = tablet.shell("find /data/local -printf '%p\\n'");
  EXPECT_EQ(find.status, 1);
  EXPECT_EQ(find.stderrData, "find: bad arg '-printf'\n");
  EXPECT_EQ(tablet.shell("find /data/local -name tmp").stdoutData, "/data/local/tmp\n");
  EXPECT_EQ(tablet.shell("readlink -e /sdcard").status, 1);
  EXPECT_EQ(tablet.shell("readlink /sdcard").stdoutData, "/storage/emulated/0\n");

  tablet.setFault("low-space");
  EXPECT_NE(tablet.shell("df /data").stdoutData.find(" 2048 "), std::string::npos);

  tablet.clearFaults();
  EXPECT_EQ(tablet.shell("sha256sum /dev/null").stdoutData,
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855  /dev/null\n");
  EXPECT_EQ(tablet.shell("realpath /sdcard").stdoutData, "/storage/emulated/0\n");
  EXPECT_EQ(tablet.shell("readlink -e /sdcard").stdoutData, "/storage/emulated/0\n");
  EXPECT_EQ(tablet.shell("df /data").stdoutData.find(" 2048 "), std::string::npos);
}

TEST(StandinFaultsTest, AnUnknownFaultIsRefusedWithTheList) {
  StandinTablet tablet;
  try {
    tablet.setFault("flaky");
    ADD_FAILURE() << "accepted";
  } catch (const Error& error) {
    EXPECT_TRUE(error.message().starts_with("unknown fault 'flaky' (faults: unauthorized,"))
        << error.message();
  }
}

}  // namespace
}  // namespace lumivale::testing
