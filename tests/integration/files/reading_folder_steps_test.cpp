// The Reading folder's staged steps through the real adb against the stand-in tablet.
#include <fcntl.h>
#include <sys/stat.h>

#include <cmath>

#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/crypto_library.h"
#include "core/files/testing/message_of.h"
#include "tests/integration/files/standin_files.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::StartsWith;

class ReadingFolderStepsTest : public StandinFilesTest {
 protected:
  void write(const std::string& sdcardPath, const std::string& bytes) const {
    fs::create_directories(onTablet(sdcardPath).parent_path());
    std::ofstream(onTablet(sdcardPath), std::ios::binary) << bytes;
  }
  std::string read(const std::string& sdcardPath) const {
    std::ifstream in(onTablet(sdcardPath), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  ReadingTree::Item seen(const std::string& sdcardPath) const {
    const std::string folder = sdcardPath.substr(0, sdcardPath.rfind('/'));
    return files->readingTree(folder).items.at(sdcardPath.substr(folder.size() + 1));
  }
  // Staged items and records left in `folder`.
  std::vector<std::string> leftoversIn(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(onTablet(folder))) {
      const std::string name = item.path().filename().string();
      if (name.starts_with(".lumivale-")) names.push_back(name);
    }
    return names;
  }
};

TEST_F(ReadingFolderStepsTest, TheTreeIsOneListingOfEverythingUnderTheFolder) {
  EXPECT_THAT(files->readingTree("/sdcard/From Mac").items, IsEmpty());
  write("/sdcard/From Mac/a.pdf", "12345");
  write("/sdcard/From Mac/Sub folder/it's [1].txt", "x");
  write("/sdcard/From Mac/.hidden", "");
  const ReadingTree tree = files->readingTree("/sdcard/From Mac");
  EXPECT_THAT(tree.items, ElementsAre(Key(".hidden"), Key("Sub folder"),
                                      Key("Sub folder/it's [1].txt"), Key("a.pdf")));
  const ReadingTree::Item& file = tree.items.at("a.pdf");
  EXPECT_FALSE(file.isFolder);
  EXPECT_EQ(file.size, 5);
  struct stat status {};
  ASSERT_EQ(::stat(onTablet("/sdcard/From Mac/a.pdf").c_str(), &status), 0);
  ASSERT_TRUE(file.modified);
  EXPECT_EQ(static_cast<std::int64_t>(*file.modified), status.st_mtim.tv_sec);
  EXPECT_TRUE(tree.items.at("Sub folder").isFolder);

  const auto digests =
      files->sha256s({"/sdcard/From Mac/a.pdf", "/sdcard/From Mac/Sub folder/it's [1].txt",
                      "/sdcard/From Mac/gone.pdf"});
  EXPECT_THAT(digests, ElementsAre(
                           std::pair<const std::string, std::string>{
                               "/sdcard/From Mac/Sub folder/it's [1].txt", sha256Hex("x")},
                           std::pair<const std::string, std::string>{"/sdcard/From Mac/a.pdf",
                                                                     sha256Hex("12345")}));
}

TEST_F(ReadingFolderStepsTest, AStagedCopyArrivesHiddenAndTakesOnlyAFreeName) {
  files->makeDirectory("/sdcard/F", true);
  const std::string staged =
      files->pushStaged(localFile("new.pdf", "new bytes"), "/sdcard/F", "new.pdf");
  EXPECT_THAT(staged, StartsWith("/sdcard/F/.lumivale-partial-"));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/F/new.pdf")));
  files->placeStaged(staged, "/sdcard/F/new.pdf");
  EXPECT_EQ(read("/sdcard/F/new.pdf"), "new bytes");
  EXPECT_THAT(leftoversIn("/sdcard/F"), IsEmpty());

  write("/sdcard/F/Taken.pdf", "the user's");
  const std::string second =
      files->pushStaged(localFile("taken.pdf", "ours"), "/sdcard/F", "taken.pdf");
  EXPECT_THROW(files->placeStaged(second, "/sdcard/F/taken.pdf"), MoveSkipped);
  EXPECT_EQ(read("/sdcard/F/Taken.pdf"), "the user's");
}

TEST_F(ReadingFolderStepsTest, ManyCopiesAreSentTogetherAndEachTakesOnlyAFreeName) {
  files->makeDirectory("/sdcard/F/Sub", true);
  write("/sdcard/F/Taken.pdf", "the user's");
  const std::string staging = "/sdcard/F/.lumivale-partial-0123456789abcdef";
  // Sent under their own names but one, whose name the tablet cannot hold.
  const std::vector<AdbFiles::Arrival> arrivals{
      {localFile("a.pdf", "copy of a"), "a.pdf"},
      {localFile("Sub/it's [2].pdf", "copy of it's [2]"), "it's [2].pdf"},
      {localFile("taken.pdf", "ours"), "taken.pdf"},
      {localFile("what?.pdf", "asked"), "1"}};
  const auto sent = files->pushMany(staging, arrivals, 30);
  ASSERT_THAT(sent, ElementsAre(Key("1"), Key("a.pdf"), Key("it's [2].pdf"), Key("taken.pdf")));
  EXPECT_EQ(sent.at("a.pdf").size, 9);
  EXPECT_EQ(read(staging + "/1"), "asked");
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/F/a.pdf")));
  EXPECT_EQ(leftoversIn("/sdcard/F").size(), 2u) << "the staging folder and its record";

  const auto now =
      files->publishMany(staging, {{staging + "/a.pdf", "/sdcard/F/a.pdf"},
                                   {staging + "/it's [2].pdf", "/sdcard/F/Sub/it's [2].pdf"},
                                   {staging + "/taken.pdf", "/sdcard/F/taken.pdf"},
                                   {staging + "/1", "/sdcard/F/what_.pdf"}});
  // A moved copy keeps its identity; the one whose name was taken did not move.
  EXPECT_EQ(now.at("/sdcard/F/a.pdf").identity, sent.at("a.pdf").identity);
  EXPECT_EQ(now.at("/sdcard/F/what_.pdf").identity, sent.at("1").identity);
  EXPECT_NE(now.at("/sdcard/F/taken.pdf").identity, sent.at("taken.pdf").identity);
  EXPECT_EQ(read("/sdcard/F/a.pdf"), "copy of a");
  EXPECT_EQ(read("/sdcard/F/Sub/it's [2].pdf"), "copy of it's [2]");
  EXPECT_EQ(read("/sdcard/F/what_.pdf"), "asked");
  EXPECT_EQ(read("/sdcard/F/Taken.pdf"), "the user's");
  // The staging folder goes with what is left in it, and its record.
  EXPECT_THAT(leftoversIn("/sdcard/F"), IsEmpty());
}

TEST_F(ReadingFolderStepsTest, AStagingFolderBecomesANewFolderWholeButNeverEntersOneMadeMeanwhile) {
  files->makeDirectory("/sdcard/Docs", true);
  const std::string staging = "/sdcard/Docs/.lumivale-partial-0123456789abcdef";
  const auto sent = files->pushMany(
      staging, {{localFile("a.pdf", "copy of a"), "a.pdf"}, {localFile("b.pdf", "b"), "b.pdf"}},
      10);
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_TRUE(files->publishWhole(staging, "/sdcard/Docs/From Mac"));
  EXPECT_EQ(read("/sdcard/Docs/From Mac/a.pdf"), "copy of a");
  const std::string moved = "/sdcard/Docs/From Mac/a.pdf";
  EXPECT_EQ(files->readingItems({moved}).at(moved).identity, sent.at("a.pdf").identity);
  EXPECT_THAT(leftoversIn("/sdcard/Docs"), IsEmpty()) << "nor the record";

  // The name taken, in other capitals, by a folder of the user's: it is left as it was.
  const std::string again = "/sdcard/Docs/.lumivale-partial-fedcba9876543210";
  files->pushMany(again, {{localFile("c.pdf", "c"), "c.pdf"}}, 1);
  write("/sdcard/Docs/Later/mine.pdf", "the user's");
  EXPECT_FALSE(files->publishWhole(again, "/sdcard/Docs/later"));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/Docs/Later/c.pdf")));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/Docs/Later/.lumivale-partial-fedcba9876543210")));
  EXPECT_EQ(leftoversIn("/sdcard/Docs").size(), 2u) << "the staging folder and its record";
}

// A run killed between writing a record and moving it into place leaves it pending.
TEST_F(ReadingFolderStepsTest, ARecordIsDroppedWholeOrPending) {
  files->makeDirectory("/sdcard/Docs", true);
  write("/sdcard/Docs/.lumivale-record-0123456789abcdef", "lumivale staging record 1\n");
  write("/sdcard/Docs/.lumivale-record-0123456789abcdef.new", "lumivale staging record 1\n");
  write("/sdcard/Docs/.lumivale-record-fedcba9876543210.new", "lumivale staging record 1\n");
  EXPECT_TRUE(files->dropRecord("/sdcard/Docs", "0123456789abcdef"));
  EXPECT_TRUE(files->dropRecord("/sdcard/Docs", "fedcba9876543210"));
  EXPECT_THAT(leftoversIn("/sdcard/Docs"), IsEmpty());
}

TEST_F(ReadingFolderStepsTest, AReplacementGoesInOnlyOverTheCopyAsItWasSeen) {
  write("/sdcard/F/a.pdf", "old copy");
  ReadingTree::Item before = seen("/sdcard/F/a.pdf");
  std::string staged = files->pushStaged(localFile("a.pdf", "new copy"), "/sdcard/F", "a.pdf");
  files->replaceIfUnchanged(staged, "/sdcard/F/a.pdf", before);
  EXPECT_EQ(read("/sdcard/F/a.pdf"), "new copy");
  EXPECT_THAT(leftoversIn("/sdcard/F"), IsEmpty());

  // Edited on the tablet after the listing: it stays, and so does the staged copy for the
  // caller to discard.
  before = seen("/sdcard/F/a.pdf");
  staged = files->pushStaged(localFile("a2.pdf", "newer copy"), "/sdcard/F", "a.pdf");
  write("/sdcard/F/a.pdf", "edited on the tablet");
  EXPECT_EQ(messageOf([&] { files->replaceIfUnchanged(staged, "/sdcard/F/a.pdf", before); }),
            "'/sdcard/F/a.pdf' changed on the tablet since it was looked at, so it was left as "
            "it is");
  EXPECT_EQ(read("/sdcard/F/a.pdf"), "edited on the tablet");
  EXPECT_TRUE(files->discardStage(staged));
}

TEST_F(ReadingFolderStepsTest, ARemovalTakesOnlyTheCopyAsItWasSeen) {
  write("/sdcard/F/gone.pdf", "copy");
  write("/sdcard/F/edited.pdf", "copy");
  const ReadingTree tree = files->readingTree("/sdcard/F");
  files->removeIfUnchanged("/sdcard/F/gone.pdf", tree.items.at("gone.pdf"));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/F/gone.pdf")));
  write("/sdcard/F/edited.pdf", "the user's own edit");
  EXPECT_THAT(messageOf([&] {
                files->removeIfUnchanged("/sdcard/F/edited.pdf", tree.items.at("edited.pdf"));
              }),
              StartsWith("'/sdcard/F/edited.pdf' changed on the tablet since it was looked at"));
  EXPECT_EQ(read("/sdcard/F/edited.pdf"), "the user's own edit");
  EXPECT_THAT(leftoversIn("/sdcard/F"), IsEmpty());
}

TEST_F(ReadingFolderStepsTest, ASameSizeEditInTheSameSecondStillKeepsTheCopy) {
  write("/sdcard/F/a.pdf", "version 1");
  const ReadingTree::Item before = seen("/sdcard/F/a.pdf");
  write("/sdcard/F/a.pdf", "version 2");
  // Put back to the same second, a little later within it.
  const timespec times[2] = {
      {0, UTIME_OMIT},
      {static_cast<time_t>(*before.modified),
       static_cast<long>((*before.modified - std::floor(*before.modified)) * 1e9) + 1000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, onTablet("/sdcard/F/a.pdf").c_str(), times, 0), 0);
  EXPECT_THROW(files->removeIfUnchanged("/sdcard/F/a.pdf", before), FilesError);
  EXPECT_EQ(read("/sdcard/F/a.pdf"), "version 2");
}

TEST_F(ReadingFolderStepsTest, OnlyAnEmptyFolderIsRemoved) {
  fs::create_directories(onTablet("/sdcard/F/Empty"));
  write("/sdcard/F/Full/users.pdf", "the user's");
  EXPECT_TRUE(files->removeEmptyFolder("/sdcard/F/Empty"));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/F/Empty")));
  EXPECT_FALSE(files->removeEmptyFolder("/sdcard/F/Full"));
  EXPECT_EQ(read("/sdcard/F/Full/users.pdf"), "the user's");
  EXPECT_TRUE(files->removeEmptyFolder("/sdcard/F/Never made"));
}

}  // namespace
}  // namespace lumivale::testing
