#include "core/files/adb_files.h"

#include <cstdlib>
#include <fstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/files/name_collator.h"
#include "core/files/testing/message_of.h"
#include "core/tablet/testing/fake_adb_runner.h"

namespace lumivale {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using testing::FakeAdbRunner;
using ::testing::HasSubstr;
using testing::messageOf;
using ::testing::Not;
namespace fs = std::filesystem;

// A shell reply with the exit marker the real line prints.
FakeAdbRunner::Reply ok(std::string output = "", int status = 0) {
  return {.output = output + "\nLUMIVALE-EXIT:" + std::to_string(status) + "\n",
          .status = 0,
          .errors = "",
          .failure = ""};
}
FakeAdbRunner::Reply failed(std::string output, int status = 1) {
  return ok(std::move(output), status);
}

// A tablet whose /sdcard leads to /storage/emulated/0, holding /sdcard/Books.
class AdbFilesTest : public ::testing::Test {
 protected:
  AdbFilesTest() {
    tablet.on("shell readlink -e -- /sdcard", ok("/storage/emulated/0/"));
    tablet.on("shell readlink -e -- /sdcard/Books", ok("/storage/emulated/0/Books"));
    tablet.on("shell test -d /sdcard/Books", ok());
    tablet.on("shell test -r /sdcard/Books", ok());
    tablet.on("shell test -x /sdcard/Books", ok());
    tablet.on("shell df -k -- /sdcard/Books",
              ok("Filesystem 1K-blocks Used Available Use% Mounted on\n"
                 "/dev/fuse 100000000 10 99999990 1% /storage/emulated\n"));
    ::unsetenv("LUMIVALE_FILES_LIST_FORMAT");
  }

  bool sent(std::string_view fragment) const {
    for (const auto& command : tablet.commands) {
      if (command.find(fragment) != std::string::npos) return true;
    }
    return false;
  }

  FakeAdbRunner tablet;
  std::shared_ptr<ListingFormatCache> caches = std::make_shared<ListingFormatCache>();
  AdbFiles files{tablet, "LV1SERIAL", TransferLimits::standard(), caches};
};

TEST(ShellLineTest, BatchesKeepOrderAndStayWithinTheBudget) {
  auto batches = AdbFiles::batches({"aaaa", "bbbb", "it's", std::string(50, 'x'), "c"}, 12);
  ASSERT_EQ(batches.size(), 4u);
  EXPECT_EQ(batches[0], (std::vector<std::string>{"aaaa", "bbbb"}));
  EXPECT_EQ(batches[1], (std::vector<std::string>{"it's"}));  // quoted it is 10 bytes
  EXPECT_EQ(batches[2], (std::vector<std::string>{std::string(50, 'x')}));
  EXPECT_EQ(batches[3], (std::vector<std::string>{"c"}));
}

// Copies that keep their name go to their folder many to one mv; lines stay within what the
// tablet takes, and only the last erases the staging folder, once every move has run.
TEST_F(AdbFilesTest, ManyMovesGoInFewBoundedLinesAndTheStagingFolderGoesLast) {
  tablet.on("shell sh -c", ok());
  const std::string staging = "/sdcard/Books/.lumivale-partial-0123456789abcdef";
  std::vector<std::pair<std::string, std::string>> moves;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = fmt::format("{:0>100}.pdf", i);
    moves.emplace_back(staging + "/" + name, "/sdcard/Books/" + name);
  }
  moves.emplace_back(staging + "/1", "/sdcard/Books/Notes_.pdf");
  files.publishMany(staging, moves);
  ASSERT_GT(tablet.commands.size(), 2u);
  std::size_t mentioned = 0;
  for (std::size_t i = 0; i < tablet.commands.size(); ++i) {
    const std::string& line = tablet.commands[i];
    EXPECT_LT(line.size(), 60u * 1024);  // adb carries at most 64 KiB for a command
    EXPECT_EQ(line.find("rm -rf -- " + staging) != std::string::npos,
              i + 1 == tablet.commands.size());
    for (std::size_t at = line.find(".pdf"); at != std::string::npos;
         at = line.find(".pdf", at + 1))
      ++mentioned;
  }
  // Each copy named once, where it moves from, and seen in the listing of its folder; the one
  // moved alone also where find looks for it and where its name is tested.
  EXPECT_EQ(mentioned, 1000u + 3);
  EXPECT_TRUE(sent("find /sdcard/Books -mindepth 1 -maxdepth 1 -printf "));
  EXPECT_TRUE(sent("[ -e /sdcard/Books/Notes_.pdf ] || mv -n -- " + staging +
                   "/1 /sdcard/Books/Notes_.pdf; "));
}

TEST_F(AdbFilesTest, EveryLineIsPinnedToTheSerialAndEndsWithTheMarker) {
  tablet.on("shell stat -c '%f' -- '/sdcard/a b'", ok("81a4"));
  EXPECT_TRUE(files.present("/sdcard/a b"));
  ASSERT_EQ(tablet.commands.size(), 1u);
  EXPECT_EQ(tablet.commands[0],
            "shell stat -c '%f' -- '/sdcard/a b'; printf '\\nLUMIVALE-EXIT:%d\\n' $?");
  EXPECT_EQ(tablet.serials[0], "LV1SERIAL");
  EXPECT_THROW(files.present("/data/x"), RemotePathError);
  EXPECT_EQ(tablet.commands.size(), 1u);  // a refused path never reaches the tablet
}

TEST_F(AdbFilesTest, OutputWithoutTheMarkerIsAFailureEvenWhenAdbSaysZero) {
  tablet.on("shell stat", {.output = "81a4\n", .status = 0, .errors = "", .failure = ""});
  EXPECT_EQ(messageOf([&] { files.present("/sdcard/x"); }),
            "the tablet did not say how 'stat' ended");
  tablet.on(
      "shell stat",
      {.output = "", .status = 1, .errors = "error: device 'LV1SERIAL' not found", .failure = ""});
  EXPECT_EQ(messageOf([&] { files.present("/sdcard/x"); }), "error: device 'LV1SERIAL' not found");
}

TEST_F(AdbFilesTest, CheckQuotesTheFirstLineSafely) {
  tablet.on("shell mkdir", failed("\nmkdir: '/sdcard/x\u202e': Read-only file system\nmore"));
  EXPECT_EQ(messageOf([&] {
              files.check({"mkdir", "--", "/sdcard/x"}, "make x", Seconds(5));
            }),
            "could not make x: mkdir: '/sdcard/x\\u{202E}': Read-only file system");
}

TEST_F(AdbFilesTest, ListingFallsBackAndRemembersWhatWorked) {
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
            failed("find: bad arg '-printf'"));
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -print0",
            ok(std::string("/sdcard/Books/a.pdf\0/sdcard/Books/.hidden\0", 42)));
  tablet.on("shell stat -c '%f|%s|%Y|%n' -- /sdcard/Books/a.pdf /sdcard/Books/.hidden",
            ok("81a4|3|1700000000|/sdcard/Books/a.pdf\n81a4|0|1700000000|/sdcard/Books/.hidden\n"));
  auto entries = files.list("/sdcard/Books", false);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].path, "/sdcard/Books/a.pdf");
  EXPECT_EQ(caches->format("LV1SERIAL"), RemoteListing::Format::findStat);

  tablet.commands.clear();
  EXPECT_EQ(files.list("/sdcard/Books", true).size(), 2u);
  EXPECT_THAT(tablet.commands, Not(Contains(HasSubstr("-printf"))));
}

TEST_F(AdbFilesTest, TheEnvironmentForcesOneListingFormat) {
  ::setenv("LUMIVALE_FILES_LIST_FORMAT", "ls", 1);
  tablet.on("shell ls -la /sdcard/Books/", ok("total 1\ndrwxr-xr-x 2 a b 4096 2026-03-04 05:06 .\n"
                                              "-rw-r--r-- 1 a b 3 2026-03-04 05:06 a.pdf\n"));
  tablet.on("shell date", ok("+0000"));
  auto entries = files.list("/sdcard/Books", false);
  ::unsetenv("LUMIVALE_FILES_LIST_FORMAT");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "a.pdf");
  EXPECT_FALSE(sent("find"));
}

TEST_F(AdbFilesTest, AFolderThatCannotBeListedSaysWhy) {
  tablet.on("shell find /sdcard/Gone/", failed("find: /sdcard/Gone/: No such file"));
  tablet.on("shell test -d /sdcard/Gone", failed(""));
  tablet.on("shell stat -c '%f' -- /sdcard/Gone", failed(""));
  EXPECT_EQ(messageOf([&] { files.list("/sdcard/Gone", false); }), "'/sdcard/Gone' does not exist");

  tablet.on("shell find /sdcard/Books/", failed(""));
  tablet.on("shell ls -la /sdcard/Books/", failed(""));
  EXPECT_EQ(messageOf([&] { files.list("/sdcard/Books", false); }),
            "could not list /sdcard/Books: the tablet\u2019s find and ls both failed");
}

TEST_F(AdbFilesTest, LinksToFoldersAreMarked) {
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
            ok(std::string("lrwxrwxrwx|3|1.0|/sdcard/Books/old\0lrwxrwxrwx|3|1.0|/sdcard/Books/f\0",
                           68)));
  tablet.on("shell find -L /sdcard/Books/", ok(std::string("/sdcard/Books/old\0", 18)));
  auto entries = files.list("/sdcard/Books", false);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_TRUE(entries[0].isFolder());
  EXPECT_FALSE(entries[1].isFolder());
}

TEST_F(AdbFilesTest, AListingReadInPiecesIsTheListingReadWhole) {
  // Names of one to three bytes with a two-byte letter, so that pieces end in every part of
  // a record: its fields, its name, the middle of the letter, its NUL, and the exit marker.
  std::string output;
  for (const std::string name : {"a", "\u00e9", "b\u00e9", "c|d", ".e"})
    output += "-rw-r--r--|1|1700000000.5|/sdcard/Books/" + name + '\0';
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf", ok(output));
  const auto whole = files.listForSorting("/sdcard/Books", false);
  ASSERT_EQ(whole.entries.size(), 4u);
  ASSERT_EQ(whole.nameKeys.size(), 4u);
  EXPECT_EQ(whole.nameKeys[1], NameCollator::forUser().sortKey("\u00e9"));
  for (std::size_t piece = 1; piece <= output.size() + 20; ++piece) {
    tablet.streamPieceBytes = piece;
    const auto pieces = files.listForSorting("/sdcard/Books", false);
    ASSERT_EQ(pieces.entries, whole.entries) << "in pieces of " << piece << " bytes";
    ASSERT_EQ(pieces.nameKeys, whole.nameKeys) << "in pieces of " << piece << " bytes";
  }
}

TEST_F(AdbFilesTest, AListingReadInPiecesStillNeedsItsEnd) {
  tablet.streamPieceBytes = 7;
  // Cut short after its first record: no marker, whatever adb's own status.
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
            {.output = std::string("-rw-r--r--|1|7|/sdcard/Books/a\0-rw-r", 36),
             .status = 0,
             .errors = "",
             .failure = ""});
  ::setenv("LUMIVALE_FILES_LIST_FORMAT", "findPrintf", 1);
  EXPECT_EQ(messageOf([&] { files.list("/sdcard/Books", false); }),
            "could not list /sdcard/Books: the tablet\u2019s find and ls both failed");
  // A last record that no NUL closed is still read, as when the output comes whole.
  tablet.on("shell find /sdcard/Books/ -mindepth 1 -maxdepth 1 -printf",
            ok(std::string("-rw-r--r--|1|7|/sdcard/Books/a\0-rw-r--r--|2|7|/sdcard/Books/b", 61)));
  auto entries = files.list("/sdcard/Books", false);
  ::unsetenv("LUMIVALE_FILES_LIST_FORMAT");
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].path, "/sdcard/Books/b");
}

TEST_F(AdbFilesTest, ConfinementFollowsLinksOnTheTablet) {
  tablet.on("shell readlink -e -- /sdcard/escape", ok("/data/local/tmp"));
  EXPECT_EQ(messageOf([&] { files.confine("/sdcard/escape", true); }),
            "'/sdcard/escape' leads outside the tablet\u2019s shared storage (to /data/local/tmp)");
  tablet.on("shell readlink -e -- /sdcard/none", failed(""));
  tablet.on("shell stat -c '%f' -- /sdcard/none", failed(""));
  EXPECT_THROW(files.confine("/sdcard/none", true), FilesError);
  EXPECT_EQ(files.confine("/sdcard/Books/new", false), "/sdcard/Books/new");
  tablet.on("shell readlink -e -- /sdcard/Books/new", failed(""));
  tablet.on("shell stat -c '%f' -- /sdcard/Books/new", failed(""));
  EXPECT_EQ(files.confine("/sdcard/Books/new", false), "/sdcard/Books/new");
  // The resolver was found once, by resolving /sdcard.
  EXPECT_EQ(std::count(tablet.commands.begin(), tablet.commands.end(),
                       "shell readlink -e -- /sdcard; printf '\\nLUMIVALE-EXIT:%d\\n' $?"),
            1);
}

TEST_F(AdbFilesTest, RealpathStandsInForReadlinkAndNeitherIsRefused) {
  tablet.on("shell readlink", failed("readlink: unknown option e", 1));
  tablet.on("shell realpath -- /sdcard", ok("/storage/emulated/0"));
  tablet.on("shell realpath -- /sdcard/Books", ok("/storage/emulated/0/Books"));
  EXPECT_EQ(files.confine("/sdcard/Books", true), "/sdcard/Books");
  EXPECT_EQ(caches->resolver("LV1SERIAL"), (std::vector<std::string>{"realpath", "--"}));

  FakeAdbRunner bare;
  bare.on("shell", failed("not found", 127));
  AdbFiles other{bare, "OTHER", TransferLimits::standard(), caches};
  EXPECT_EQ(messageOf([&] { other.confine("/sdcard/Books", true); }),
            "the tablet cannot say where /sdcard leads (neither readlink -e nor realpath works), "
            "so Files cannot check its paths");
}

TEST_F(AdbFilesTest, TheTopOfTheStorageIsNeverChanged) {
  EXPECT_EQ(messageOf([&] { files.remove("/sdcard/"); }),
            "refusing to remove the whole of the tablet\u2019s storage");
  EXPECT_EQ(messageOf([&] { files.rename("/storage/emulated/0", "x"); }),
            "the top of the tablet\u2019s storage cannot be renamed");
  // A link that leads to the top is the top.
  tablet.on("shell readlink -e -- /sdcard/top", ok("/storage/emulated/0"));
  EXPECT_EQ(messageOf([&] { files.remove("/sdcard/top"); }),
            "refusing to remove the whole of the tablet\u2019s storage");
}

// Scripts one item at /sdcard/Books/{name} and the staging names beside it.
void scriptMovableItem(FakeAdbRunner& tablet, const std::string& name,
                       const std::string& identity) {
  const std::string path = "/sdcard/Books/" + name;
  tablet.on("shell readlink -e -- " + path, ok("/storage/emulated/0/Books/" + name));
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- " + path, ok(identity));
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- /sdcard/Books/.lumivale-", ok(identity));
  tablet.on("shell stat -c '%f' -- /sdcard/Books/.lumivale-", failed(""));
  tablet.on("shell mv -n --", ok());
  tablet.on("shell sh -c", ok());
  tablet.on("shell rm -f --", ok());
}

TEST_F(AdbFilesTest, RenameToADifferentCaseGoesThroughAStagingName) {
  scriptMovableItem(tablet, "Book.pdf", "64:9:3:1700000000:81a4");
  tablet.on("shell stat -c '%f' -- /sdcard/Books/book.pdf", ok("81a4"));  // same item, case folded
  tablet.on("shell stat -c '%d:%i:%s:%Y:%f' -- /sdcard/Books/book.pdf",
            ok("64:9:3:1700000000:81a4"));
  tablet.on("shell stat -c '%f' -- /sdcard/Books/book.pdf", failed(""));
  EXPECT_EQ(files.rename("/sdcard/Books/Book.pdf", "book.pdf"), "/sdcard/Books/book.pdf");
  EXPECT_TRUE(sent("shell mv -n -- /sdcard/Books/Book.pdf /sdcard/Books/.lumivale-renaming-"));
  EXPECT_TRUE(sent("/sdcard/Books/book.pdf 2>&1"));
}

TEST_F(AdbFilesTest, RenameOntoAnotherItemIsRefused) {
  scriptMovableItem(tablet, "a.pdf", "64:9:3:1700000000:81a4");
  tablet.on("shell stat -c '%f' -- /sdcard/Books/b.pdf", ok("81a4"));
  try {
    files.rename("/sdcard/Books/a.pdf", "b.pdf");
    ADD_FAILURE() << "the rename went ahead";
  } catch (const FilesError& error) {
    EXPECT_EQ(error, FilesError::exists("/sdcard/Books/b.pdf"));
  }
  EXPECT_FALSE(sent("mv"));
}

TEST_F(AdbFilesTest, AnErasureThatStopsLeavesAHiddenRemainder) {
  scriptMovableItem(tablet, "Old", "64:10:4096:1700000000:41ed");
  tablet.on("shell rm -r -- /sdcard/Books/.lumivale-deleting-",
            failed("rm: /sdcard/Books/.lumivale-deleting-1/x: Permission denied"));
  const std::string message = messageOf([&] { files.remove("/sdcard/Books/Old"); });
  EXPECT_THAT(message, HasSubstr("'Old' is gone from its folder, but the tablet stopped before "
                                 "erasing all of it (rm: /sdcard/Books/.lumivale-deleting-1/x: "
                                 "Permission denied). What is left is hidden as "
                                 ".lumivale-deleting-"));
  EXPECT_THAT(message, HasSubstr(" in /sdcard/Books. Clean up in the Files pane removes it "
                                 "(lumivale files cleanup /sdcard/Books)."));
}

}  // namespace
}  // namespace lumivale
