#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/files/adb_files.h"
#include "core/tablet/testing/fake_adb_runner.h"

namespace lumivale {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using testing::FakeAdbRunner;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
namespace fs = std::filesystem;

FakeAdbRunner::Reply reply(std::string output, int status) {
  return {.output = std::move(output), .status = status, .errors = "", .failure = ""};
}
FakeAdbRunner::Reply ok(std::string output = "") {
  return reply(output + "\nLUMIVALE-EXIT:0\n", 0);
}
FakeAdbRunner::Reply failed(std::string output = "") {
  return reply(output + "\nLUMIVALE-EXIT:1\n", 0);
}

// A scripted tablet whose `adb pull` leaves `pulledBytes` at the destination, as adb would,
// and which cancels `cancelAtTheFinalMove`, when set, as a staged copy takes its name.
class PullingTablet : public FakeAdbRunner {
 public:
  ToolRun run(const std::string& serial, const std::vector<std::string>& arguments, Seconds timeout,
              const StopToken* cancel) override {
    if (arguments.size() == 4 && arguments[0] == "pull") {
      std::ofstream(fs::path(arguments[3]) / fs::path(arguments[2]).filename()) << pulledBytes;
    }
    if (cancelAtTheFinalMove != nullptr && arguments.size() == 2 &&
        arguments[1].starts_with("mv -n -- /sdcard/Books/.lumivale-partial-")) {
      cancelAtTheFinalMove->cancel();
    }
    return FakeAdbRunner::run(serial, arguments, timeout, cancel);
  }
  std::string pulledBytes = "abc";
  StopToken* cancelAtTheFinalMove = nullptr;
};

// A scripted tablet whose `adb push` runs until it is stopped, as a long copy would.
class EndlessPushTablet : public PullingTablet {
 public:
  // An empty folder /sdcard/Books, with room.
  EndlessPushTablet() {
    on("shell readlink -e --", ok("/storage/emulated/0/Books"));
    on("shell test -d /sdcard/Books", ok());
    on("shell df -k", failed());
    on("shell find /sdcard/Books/", ok());
    on("shell sh -c", ok());
    on("shell rm -f --", ok());
  }
  ToolRun run(const std::string& serial, const std::vector<std::string>& arguments, Seconds timeout,
              const StopToken* cancel) override {
    if (arguments.empty() || arguments[0] != "push" || !cancel)
      return PullingTablet::run(serial, arguments, timeout, cancel);
    // Bounded, so a test whose cancel never comes still ends.
    for (int wait = 0; wait < 6000 && !cancel->isCancelled(); ++wait)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return ToolRun{
        .status = 137, .stdoutData = "", .stderrData = "", .timedOut = false, .cancelled = true};
  }
};

class TransferTest : public ::testing::Test {
 protected:
  TransferTest() {
    std::string pattern = (fs::temp_directory_path() / "lumivale-files-XXXXXX").string();
    local = mkdtemp(pattern.data());
    tablet.on("shell readlink -e -- /sdcard", ok("/storage/emulated/0"));
    tablet.on("shell readlink -e -- /sdcard/Books", ok("/storage/emulated/0/Books"));
    tablet.on("shell test -d /sdcard/Books", ok());
    tablet.on("shell df -k -- /sdcard/Books",
              ok("Filesystem 1K-blocks Used Available Use% Mounted on\n"
                 "/dev/fuse 100000000 10 99999990 1% /storage/emulated\n"));
    tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
              ok(std::string("-rw-r--r--|3|1.0|/sdcard/Books/a.pdf\0", 37)));
    tablet.on("push ", reply("1 file pushed", 0));
    tablet.on("shell stat -c '%f|%s|%Y|%n' -- /sdcard/Books/.lumivale-partial-",
              ok("81a4|3|1700000000|/sdcard/Books/.lumivale-partial-0"));
    tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- /sdcard/Books/", ok("64:9:3:1700000000:81a4"));
    tablet.on("shell stat -c '%f' -- /sdcard/Books/.lumivale-", failed());
    tablet.on("shell mv -n --", ok());
    tablet.on("shell rm -rf --", ok());
    tablet.on("shell sh -c", ok());
    tablet.on("shell rm -f -- /sdcard/Books/.lumivale-record-", ok());
    std::ofstream(local / "A.pdf") << "abc";
  }
  ~TransferTest() override { fs::remove_all(local); }

  bool sent(std::string_view fragment) const {
    for (const auto& command : tablet.commands) {
      if (command.find(fragment) != std::string::npos) return true;
    }
    return false;
  }

  std::string pushMessage(const fs::path& item, CollisionPolicy collision,
                          const StopToken& stop = StopToken()) {
    try {
      files.stoppedBy(stop).push(item, "/sdcard/Books", std::nullopt, collision);
    } catch (const Error& error) {
      return error.message();
    }
    return "pushed";
  }

  fs::path local;
  PullingTablet tablet;
  AdbFiles files{tablet, "LV1SERIAL", TransferLimits::standard(),
                 std::make_shared<ListingFormatCache>()};
};

TEST_F(TransferTest, KeepBothTreatsADifferentCaseAsTaken) {
  tablet.on("shell stat -c '%f' -- '/sdcard/Books/A 2.pdf'", failed());
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- '/sdcard/Books/A 2.pdf'",
            ok("64:9:3:1700000000:81a4"));
  std::vector<TransferProgress> seen;
  ObserverFunction<TransferProgress> progress(
      [&](const TransferProgress& step) { seen.push_back(step); });
  auto placed = files.push(local / "A.pdf", "/sdcard/Books", std::nullopt,
                           CollisionPolicy::keepBoth, &progress);
  EXPECT_EQ(placed, "/sdcard/Books/A 2.pdf");
  EXPECT_TRUE(sent("shell mv -n -- /sdcard/Books/.lumivale-partial-"));
  // The record of the name the copy belongs to comes before the copy and goes after it.
  ASSERT_GE(tablet.commands.size(), 3u);
  EXPECT_THAT(tablet.commands[tablet.commands.size() - 1],
              HasSubstr("shell rm -f -- /sdcard/Books/.lumivale-record-"));
  auto recorded = std::find_if(tablet.commands.begin(), tablet.commands.end(),
                               [](const std::string& c) { return c.starts_with("shell sh -c"); });
  auto pushed = std::find_if(tablet.commands.begin(), tablet.commands.end(),
                             [](const std::string& c) { return c.starts_with("push "); });
  ASSERT_NE(recorded, tablet.commands.end());
  EXPECT_LT(recorded, pushed);
  EXPECT_THAT(*recorded, HasSubstr("'name=A 2.pdf'"));
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.back(), (TransferProgress{3, 3}));
  EXPECT_EQ(seen.back().fraction(), 1.0);
}

TEST_F(TransferTest, AskStopsBeforeAnythingIsSent) {
  try {
    files.push(local / "A.pdf", "/sdcard/Books", std::nullopt, CollisionPolicy::ask);
    ADD_FAILURE() << "pushed over a taken name";
  } catch (const FilesError& error) {
    EXPECT_EQ(error, FilesError::exists("/sdcard/Books/a.pdf"));
  }
  EXPECT_FALSE(sent("push "));
}

TEST_F(TransferTest, ReplacingAFileSwapsItInOneStep) {
  tablet.on("shell mv -f -T --", ok());
  std::ofstream(local / "a.pdf") << "abc";
  EXPECT_EQ(files.push(local / "a.pdf", "/sdcard/Books", std::nullopt, CollisionPolicy::replace),
            "/sdcard/Books/a.pdf");
  EXPECT_TRUE(sent("shell mv -f -T -- /sdcard/Books/.lumivale-partial-"));
  EXPECT_FALSE(sent("mv -n"));
}

TEST_F(TransferTest, ReplacingAFolderSetsTheOldOneAsideThenErasesIt) {
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
            ok(std::string("drwxr-xr-x|4096|1.0|/sdcard/Books/Set\0", 38)));
  tablet.on("shell readlink -e -- /sdcard/Books/", ok("/storage/emulated/0/Books/x"));
  tablet.on("shell stat -c '%f|%s|%Y|%n' -- /sdcard/Books/.lumivale-partial-",
            ok("41ed|4096|1700000000|/sdcard/Books/.lumivale-partial-0"));
  tablet.on("shell stat -c '%f' -- /sdcard/Books/Set", failed());
  tablet.on("shell mkdir --", ok());
  tablet.on("shell find /sdcard/Books/.lumivale-partial-", ok("1\n2\n"));
  fs::create_directory(local / "Set");
  std::ofstream(local / "Set" / "one") << "1";
  std::ofstream(local / "Set" / "two") << "22";
  EXPECT_EQ(files.push(local / "Set", "/sdcard/Books", std::nullopt, CollisionPolicy::replace),
            "/sdcard/Books/Set");
  EXPECT_TRUE(sent("shell mv -n -- /sdcard/Books/Set /sdcard/Books/.lumivale-partial-old-"));
  EXPECT_TRUE(sent("shell rm -rf -- /sdcard/Books/.lumivale-partial-old-"));
  EXPECT_TRUE(sent("push " + (local / "Set" / "one").string() + " " +
                   (local / "Set" / "two").string() + " /sdcard/Books/.lumivale-partial-"));
}

TEST_F(TransferTest, AFailedOrCancelledCopyErasesItsStagingItem) {
  tablet.on("push ", reply("adb: error: failed to copy: connection reset\n", 1));
  EXPECT_EQ(pushMessage(local / "A.pdf", CollisionPolicy::keepBoth),
            "adb push exited 1: adb: error: failed to copy: connection reset");
  EXPECT_TRUE(sent("shell rm -rf -- /sdcard/Books/.lumivale-partial-"));
  EXPECT_FALSE(sent("mv -n"));

  // The copy's remainder could not be erased either: the message says where it is.
  tablet.on("shell rm -rf --", reply("", 1));
  EXPECT_THAT(pushMessage(local / "A.pdf", CollisionPolicy::keepBoth),
              StartsWith("adb push exited 1: adb: error: failed to copy: connection reset. What "
                         "had arrived is left hidden as .lumivale-partial-"));
  EXPECT_THAT(pushMessage(local / "A.pdf", CollisionPolicy::keepBoth),
              HasSubstr(" in /sdcard/Books: the next copy into that folder removes it, and so does "
                        "Clean up in the Files pane (lumivale files cleanup /sdcard/Books)"));

  // Cancelled before it starts: nothing reaches the tablet, so nothing is staged.
  tablet.commands.clear();
  tablet.on("shell rm -rf --", ok());
  tablet.on("push ", reply("1 file pushed", 0));
  StopToken cancel;
  cancel.cancel();
  EXPECT_EQ(pushMessage(local / "A.pdf", CollisionPolicy::keepBoth, cancel), "cancelled");
  EXPECT_TRUE(tablet.commands.empty());
}

TEST_F(TransferTest, CancellingStopsTheRunningCopy) {
  EndlessPushTablet endless;
  endless.on("shell rm -rf --", ok());
  AdbFiles slow{endless, "LV1SERIAL", TransferLimits::standard(),
                std::make_shared<ListingFormatCache>()};
  StopToken cancel;
  ObserverFunction<TransferProgress> cancelling([&](const TransferProgress&) { cancel.cancel(); });
  EXPECT_THROW(slow.stoppedBy(cancel).push(local / "A.pdf", "/sdcard/Books", std::nullopt,
                                           CollisionPolicy::ask, &cancelling),
               Cancelled);
  EXPECT_THAT(endless.commands,
              Contains(StartsWith("shell rm -rf -- /sdcard/Books/.lumivale-partial-")));

  // A cancel whose copy could not be erased is still a cancel, saying what it left.
  endless.on("shell rm -rf --", reply("", 1));
  StopToken again;
  ObserverFunction<TransferProgress> cancellingAgain(
      [&](const TransferProgress&) { again.cancel(); });
  try {
    slow.stoppedBy(again).push(local / "A.pdf", "/sdcard/Books", std::nullopt, CollisionPolicy::ask,
                               &cancellingAgain);
    ADD_FAILURE() << "the copy was not cancelled";
  } catch (const Cancelled& cancelled) {
    EXPECT_THAT(
        cancelled.message(),
        AllOf(StartsWith("cancelled. What had arrived is left hidden as .lumivale-partial-"),
              HasSubstr("(lumivale files cleanup /sdcard/Books)")));
  }
}

TEST_F(TransferTest, ACancelThatArrivesOnceTheFinalMoveRunsIsASuccess) {
  tablet.on("shell stat -c '%f' --", failed());
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- '/sdcard/Books/A 2.pdf'",
            ok("64:9:3:1700000000:81a4"));
  // Beside the taken a.pdf, and in its place (set aside first, as its capitals differ).
  for (const CollisionPolicy collision : {CollisionPolicy::keepBoth, CollisionPolicy::replace}) {
    StopToken cancel;
    tablet.cancelAtTheFinalMove = &cancel;
    tablet.commands.clear();
    EXPECT_EQ(
        files.stoppedBy(cancel).push(local / "A.pdf", "/sdcard/Books", std::nullopt, collision),
        collision == CollisionPolicy::keepBoth ? "/sdcard/Books/A 2.pdf" : "/sdcard/Books/A.pdf");
    EXPECT_TRUE(cancel.isCancelled());
    // The copy in place is not erased, and its record goes.
    EXPECT_FALSE(std::ranges::any_of(tablet.commands, [](const std::string& command) {
      return command.starts_with("shell rm -rf -- /sdcard/Books/.lumivale-partial-") &&
             command.find(".lumivale-partial-old-") == std::string::npos;
    }));
    EXPECT_THAT(tablet.commands.back(),
                StartsWith("shell rm -f -- /sdcard/Books/.lumivale-record-"));
  }
}

TEST_F(TransferTest, ACopyGrowingPastItsCapIsStopped) {
  EndlessPushTablet endless;
  endless.on("shell stat -c '%s' -- /sdcard/Books/.lumivale-partial-", ok("11"));
  endless.on("shell rm -rf --", ok());
  AdbFiles capped{endless, "LV1SERIAL", TransferLimits{10, 0},
                  std::make_shared<ListingFormatCache>()};
  try {
    capped.push(local / "A.pdf", "/sdcard/Books", std::nullopt, CollisionPolicy::ask);
    ADD_FAILURE() << "the copy was not stopped";
  } catch (const FilesError& error) {
    EXPECT_EQ(error.message(), "the copy grew past 10 bytes and was stopped; nothing was kept");
  }
  EXPECT_THAT(endless.commands,
              Contains(StartsWith("shell rm -rf -- /sdcard/Books/.lumivale-partial-")));
}

TEST_F(TransferTest, AShortCopyIsNotPutInPlace) {
  tablet.on("shell stat -c '%f|%s|%Y|%n' -- /sdcard/Books/.lumivale-partial-",
            ok("81a4|2|1700000000|/sdcard/Books/.lumivale-partial-0"));
  EXPECT_EQ(pushMessage(local / "A.pdf", CollisionPolicy::keepBoth),
            "the copy did not arrive whole (2 bytes of 3 bytes); nothing was replaced. If the item "
            "changed on the Mac while copying, try again");
  EXPECT_TRUE(sent("shell rm -rf -- /sdcard/Books/.lumivale-partial-"));
}

TEST_F(TransferTest, LocalItemsTheTabletCannotHoldAreRefused) {
  std::ofstream(local / "what?.pdf") << "x";
  EXPECT_EQ(pushMessage(local / "what?.pdf", CollisionPolicy::ask),
            "'what?.pdf' has a character the tablet does not allow (\" * : < > ? \\ |); rename it "
            "on the Mac first");
  fs::create_symlink(local / "A.pdf", local / "link.pdf");
  EXPECT_THAT(pushMessage(local / "link.pdf", CollisionPolicy::ask),
              HasSubstr("'link.pdf' is a link; the tablet cannot hold links"));
  fs::create_directory(local / "Holds");
  fs::create_symlink("/etc", local / "Holds" / "away");
  EXPECT_EQ(pushMessage(local / "Holds", CollisionPolicy::ask),
            "'Holds' holds links to other places, so it is not copied as a whole; copy the files "
            "inside it instead");
  EXPECT_TRUE(tablet.commands.empty());
}

TEST_F(TransferTest, ThereMustBeRoomBesideTheReserve) {
  tablet.on("shell df -k -- /sdcard/Books",
            ok("Filesystem 1K-blocks Used Available Use% Mounted on\n"
               "/dev/fuse 1000 10 100 1% /storage/emulated\n"));
  EXPECT_EQ(pushMessage(local / "A.pdf", CollisionPolicy::ask),
            "the tablet has 102,400 bytes free; 'A.pdf' needs 3 bytes and 536,870,912 bytes is "
            "kept free");
  EXPECT_FALSE(sent("push "));
}

class PullTest : public TransferTest {
 protected:
  PullTest() {
    tablet.on("shell readlink -e -- /sdcard/Books/a.pdf", ok("/storage/emulated/0/Books/a.pdf"));
    tablet.on("shell stat -c '%f|%s|%Y|%n' -- /sdcard/Books/a.pdf",
              ok("81a4|3|1700000000|/sdcard/Books/a.pdf"));
    tablet.on("pull -a", reply("1 file pulled", 0));
  }
  std::vector<fs::path> leftInLocal() const {
    std::vector<fs::path> found;
    for (const auto& item : fs::directory_iterator(local))
      found.push_back(item.path().filename());
    return found;
  }
};

TEST_F(PullTest, APulledFileArrivesMarkedUnderItsDestination) {
  std::vector<fs::path> marked;
  files.markQuarantine = [&](const fs::path& copy) {
    marked.push_back(copy);
    return 0;
  };
  files.pull("/sdcard/Books/a.pdf", local / "a copy.pdf");
  EXPECT_EQ(leftInLocal(), (std::vector<fs::path>{"A.pdf", "a copy.pdf"}));
  ASSERT_EQ(marked.size(), 1u);
  EXPECT_EQ(marked[0].filename(), "a.pdf");
}

TEST_F(PullTest, NothingIsKeptWhenTheCopyCannotBeMarkedOrChanged) {
  files.markQuarantine = [](const fs::path&) { return 1; };
  EXPECT_THROW(files.pull("/sdcard/Books/a.pdf", local / "b.pdf"), FilesError);
  EXPECT_EQ(leftInLocal(), (std::vector<fs::path>{"A.pdf"}));

  files.markQuarantine = [](const fs::path&) { return 0; };
  int asked = 0;
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- /sdcard/Books/a.pdf", ok("64:9:3:1700000000:81a4"));
  // The fake answers alike each time, so change the answer once the copy has run.
  tablet.on("pull -a", reply("1 file pulled", 0));
  ObserverFunction<TransferProgress> changing([&](const TransferProgress&) {
    if (++asked == 2)
      tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- /sdcard/Books/a.pdf",
                ok("64:9:4:1700000001:81a4"));
  });
  try {
    files.pull("/sdcard/Books/a.pdf", local / "b.pdf", &changing);
    ADD_FAILURE() << "kept a copy of a changing file";
  } catch (const FilesError& error) {
    EXPECT_EQ(error.message(),
              "'a.pdf' changed on the tablet while it was copied; nothing was kept, try again");
  }
  EXPECT_EQ(leftInLocal(), (std::vector<fs::path>{"A.pdf"}));
}

}  // namespace
}  // namespace lumivale
