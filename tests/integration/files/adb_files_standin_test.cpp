// AdbFiles through the real adb against the stand-in tablet.
#include <fcntl.h>
#include <sys/stat.h>
#include <future>
#include <mutex>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/files/remote_path.h"
#include "core/files/testing/message_of.h"
#include "tests/integration/adb_children.h"
#include "tests/integration/files/standin_files.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Kind = RemoteEntry::Kind;

// Every character a FAT name may hold that a shell or a parser could trip on, a leading
// dash, and a "|" -free mix of quotes and brackets.
const std::string awkwardName = "-it's [1] {2} (3) #!$%^&~`,;=+@ \u00e9\u00bd.pdf";

std::string contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::set<std::string> namesOf(const std::vector<RemoteEntry>& entries) {
  std::set<std::string> names;
  for (const auto& entry : entries)
    names.insert(entry.name);
  return names;
}

TEST_F(StandinFilesTest, EveryOperationOnAPlainFolder) {
  files->makeDirectory("/sdcard/Books/Old", true);
  EXPECT_TRUE(fs::is_directory(onTablet("/sdcard/Books/Old")));
  EXPECT_THROW(files->makeDirectory("/sdcard/Books/Old", false), FilesError);

  const std::string text = "the quick brown fox\n";
  EXPECT_EQ(
      files->push(localFile("fox.txt", text), "/sdcard/Books", std::nullopt, CollisionPolicy::ask),
      "/sdcard/Books/fox.txt");
  EXPECT_EQ(contents(onTablet("/sdcard/Books/fox.txt")), text);

  auto entry = files->entry("/sdcard/Books/fox.txt");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->kind, Kind::file);
  EXPECT_EQ(entry->size, static_cast<std::int64_t>(text.size()));
  EXPECT_TRUE(files->present("/sdcard/Books/Old"));
  EXPECT_FALSE(files->present("/sdcard/Books/none"));
  EXPECT_EQ(files->entry("/sdcard/Books/none"), std::nullopt);
  EXPECT_EQ(namesOf(files->list("/sdcard/Books", false)),
            (std::set<std::string>{"Old", "fox.txt"}));

  auto identity = files->identity("/sdcard/Books/fox.txt");
  ASSERT_TRUE(identity);
  EXPECT_EQ(AdbFiles::kind(*identity), Kind::file);
  EXPECT_EQ(AdbFiles::size(*identity), text.size());
  EXPECT_EQ(files->remoteBytes("/sdcard/Books/fox.txt", false), text.size());
  EXPECT_GE(files->usage("/sdcard/Books"), text.size());
  EXPECT_GT(files->tabletFree("/sdcard").value_or(0), 0u);
  EXPECT_TRUE(files->hashSupported());
  EXPECT_EQ(files->sha256("/sdcard/Books/fox.txt"),
            "6e459fed18ddb06d57c8e9f0d000c302c7e01389926db6e89884bfbe91a2a5df");

  EXPECT_EQ(files->rename("/sdcard/Books/fox.txt", "dog.txt"), "/sdcard/Books/dog.txt");
  files->pull("/sdcard/Books/dog.txt", local / "dog.txt");
  EXPECT_EQ(contents(local / "dog.txt"), text);

  files->remove("/sdcard/Books");
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/Books")));
  EXPECT_TRUE(files->leftovers("/sdcard").empty());
}

TEST_F(StandinFilesTest, APulledFileIsIdenticalAndKeepsItsTime) {
  const fs::path there = onTablet("/sdcard/Download/scan.pdf");
  fs::create_directories(there.parent_path());
  std::string bytes(3 * 1024 * 1024 + 17, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 7919 % 251);
  std::ofstream(there, std::ios::binary) << bytes;
  const timespec times[2] = {{1600000000, 0}, {1600000000, 0}};
  ::utimensat(AT_FDCWD, there.c_str(), times, 0);

  std::vector<TransferProgress> seen;
  ObserverFunction<TransferProgress> progress(
      [&](const TransferProgress& step) { seen.push_back(step); });
  files->pull("/sdcard/Download/scan.pdf", local / "scan.pdf", &progress);
  EXPECT_TRUE(contents(local / "scan.pdf") == bytes);
  struct stat facts {};
  ASSERT_EQ(::stat((local / "scan.pdf").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mtime, 1600000000);
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.back(), (TransferProgress{static_cast<std::int64_t>(bytes.size()),
                                           static_cast<std::int64_t>(bytes.size())}));
  // Nothing but the copy is left beside it.
  EXPECT_EQ(std::distance(fs::directory_iterator(local), fs::directory_iterator()), 1);
}

TEST_F(StandinFilesTest, AFolderTravelsBothWays) {
  localFile("Set/one.txt", "1");
  localFile("Set/deeper/two.txt", "22");
  fs::create_directories(local / "Set" / "empty");
  EXPECT_EQ(files->push(local / "Set", "/sdcard", std::nullopt, CollisionPolicy::ask),
            "/sdcard/Set");
  EXPECT_EQ(contents(onTablet("/sdcard/Set/deeper/two.txt")), "22");
  EXPECT_TRUE(fs::is_directory(onTablet("/sdcard/Set/empty")));
  files->pull("/sdcard/Set", local / "Back");
  EXPECT_EQ(contents(local / "Back" / "deeper" / "two.txt"), "22");
}

TEST_F(StandinFilesTest, EachListingFormatReadsTheSameFolder) {
  const fs::path folder = onTablet("/sdcard/Mixed");
  fs::create_directories(folder / "Sub");
  std::ofstream(folder / awkwardName) << "abc";
  std::ofstream(folder / "pipe|name") << "x";
  std::ofstream(folder / ".hidden") << "";
  fs::create_directory_symlink("Sub", folder / "to-sub");
  const std::set<std::string> expected{awkwardName, "pipe|name", "Sub", "to-sub"};

  for (auto format : RemoteListing::allFormats) {
    ::setenv("LUMIVALE_FILES_LIST_FORMAT", std::string(RemoteListing::rawValue(format)).c_str(), 1);
    auto entries = freshFiles().list("/sdcard/Mixed", false);
    if (format == RemoteListing::Format::ls) {
      // The tablet's ls writes non-ASCII names in its own way: shown, but never acted on.
      ASSERT_EQ(entries.size(), expected.size());
      auto mangled = std::find_if(entries.begin(), entries.end(),
                                  [](const RemoteEntry& entry) { return !entry.exact; });
      ASSERT_NE(mangled, entries.end());
      EXPECT_FALSE(mangled->isOperable());
      mangled->name = awkwardName;
    }
    EXPECT_EQ(namesOf(entries), expected) << RemoteListing::rawValue(format);
    for (const auto& entry : entries) {
      if (entry.name == "to-sub") {
        EXPECT_TRUE(entry.isFolder()) << RemoteListing::rawValue(format);
      }
      if (entry.name == awkwardName && entry.exact) {
        EXPECT_EQ(entry.size, 3);
        EXPECT_TRUE(entry.isOperable());
      }
    }
  }
}

TEST_F(StandinFilesTest, WithoutFindPrintfTheListingFallsBackAndRemembers) {
  tablet->setFault("hide=find-printf");
  fs::create_directories(onTablet("/sdcard/Books"));
  std::ofstream(onTablet("/sdcard/Books/a.pdf")) << "a";
  auto caches = std::make_shared<ListingFormatCache>();
  AdbFiles fresh(*bridge, tablet->serial(), TransferLimits::standard(), caches);
  EXPECT_EQ(namesOf(fresh.list("/sdcard/Books", false)), (std::set<std::string>{"a.pdf"}));
  EXPECT_EQ(caches->format(tablet->serial()), RemoteListing::Format::findStat);
}

TEST_F(StandinFilesTest, AnAwkwardNameSurvivesEveryOperation) {
  const fs::path item = localFile(awkwardName, "awkward");
  files->makeDirectory("/sdcard/Odd", false);
  EXPECT_EQ(files->push(item, "/sdcard/Odd", std::nullopt, CollisionPolicy::ask),
            "/sdcard/Odd/" + awkwardName);
  EXPECT_EQ(contents(onTablet("/sdcard/Odd/" + awkwardName)), "awkward");
  EXPECT_EQ(files->entry("/sdcard/Odd/" + awkwardName)->size, 7);
  const std::string renamed = files->rename("/sdcard/Odd/" + awkwardName, "b" + awkwardName);
  files->pull(renamed, local / "back.pdf");
  EXPECT_EQ(contents(local / "back.pdf"), "awkward");
  files->remove(renamed);
  EXPECT_TRUE(files->list("/sdcard/Odd", true).empty());
}

TEST_F(StandinFilesTest, ALinkLeadingOutOfTheStorageIsRefusedForChanges) {
  ASSERT_EQ(tablet->shell("ln -s /data/local/tmp /sdcard/escape").status, 0);
  const std::string outside =
      "'/sdcard/escape' leads outside the tablet\u2019s shared storage (to /data/local/tmp)";
  EXPECT_EQ(messageOf([&] { files->remove("/sdcard/escape"); }), outside);
  EXPECT_EQ(messageOf([&] { files->rename("/sdcard/escape", "x"); }), outside);
  EXPECT_THAT(messageOf([&] { files->makeDirectory("/sdcard/escape/inner", false); }),
              HasSubstr("leads outside the tablet\u2019s shared storage"));
  EXPECT_THAT(messageOf([&] {
                files->push(localFile("a.txt", "a"), "/sdcard/escape", std::nullopt,
                            CollisionPolicy::ask);
              }),
              HasSubstr("leads outside"));
  EXPECT_TRUE(fs::is_empty(tablet->hostPath("/data/local/tmp")));
}

TEST_F(StandinFilesTest, TheResolverFallsBackToRealpath) {
  tablet->setFault("hide=readlink-e");
  auto caches = std::make_shared<ListingFormatCache>();
  AdbFiles fresh(*bridge, tablet->serial(), TransferLimits::standard(), caches);
  fresh.makeDirectory("/sdcard/Made", false);
  EXPECT_EQ(caches->resolver(tablet->serial()), (std::vector<std::string>{"realpath", "--"}));
}

TEST_F(StandinFilesTest, AChangeOfCapitalsIsARename) {
  std::ofstream(onTablet("/sdcard/Book.pdf")) << "book";
  EXPECT_EQ(files->rename("/sdcard/Book.pdf", "book.pdf"), "/sdcard/book.pdf");
  EXPECT_EQ(namesOf(files->list("/sdcard", true)), (std::set<std::string>{"book.pdf"}));
}

TEST_F(StandinFilesTest, KeepBothCountsADifferentCaseAsTaken) {
  std::ofstream(onTablet("/sdcard/a.pdf")) << "old";
  EXPECT_EQ(
      files->push(localFile("A.pdf", "new"), "/sdcard", std::nullopt, CollisionPolicy::keepBoth),
      "/sdcard/A 2.pdf");
  EXPECT_EQ(contents(onTablet("/sdcard/a.pdf")), "old");
  EXPECT_EQ(contents(onTablet("/sdcard/A 2.pdf")), "new");
  try {
    files->push(localFile("A.pdf", "new"), "/sdcard", std::nullopt, CollisionPolicy::ask);
    ADD_FAILURE() << "pushed over a taken name";
  } catch (const FilesError& error) {
    EXPECT_EQ(error, FilesError::exists("/sdcard/a.pdf"));
  }
}

TEST_F(StandinFilesTest, ReplaceSwapsAFileAndAFolder) {
  std::ofstream(onTablet("/sdcard/notes.txt")) << "old notes";
  files->push(localFile("notes.txt", "new notes"), "/sdcard", std::nullopt,
              CollisionPolicy::replace);
  EXPECT_EQ(contents(onTablet("/sdcard/notes.txt")), "new notes");

  fs::create_directories(onTablet("/sdcard/Set/only-old"));
  localFile("Set/only-new.txt", "n");
  files->push(local / "Set", "/sdcard", std::nullopt, CollisionPolicy::replace);
  EXPECT_TRUE(fs::exists(onTablet("/sdcard/Set/only-new.txt")));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/Set/only-old")));
  EXPECT_TRUE(files->leftovers("/sdcard").empty());
}

TEST_F(StandinFilesTest, TooLittleRoomIsRefusedBeforeCopying) {
  tablet->setFault("low-space");
  EXPECT_THAT(messageOf([&] {
                files->push(localFile("a.txt", "a"), "/sdcard", std::nullopt, CollisionPolicy::ask);
              }),
              AllOf(StartsWith("the tablet has "), HasSubstr("free; 'a.txt' needs 1 byte and "),
                    HasSubstr(" is kept free")));
  EXPECT_TRUE(files->list("/sdcard", true).empty());
}

TEST_F(StandinFilesTest, ADroppedPushLeavesOnlyAHiddenRemainderThatCleanUpRemoves) {
  const fs::path big = localFile("big.bin", std::string(8 * 1024 * 1024, 'b'));
  tablet->setFault("drop-after=1048576");
  // adb dials a dropped tablet again at once; this keeps the new connection from
  // being usable, so it is still gone when the push tries to erase its staging copy.
  tablet->setFault("offline");
  // The push cannot reach the tablet to erase what arrived, so it says where it is.
  EXPECT_THAT(messageOf([&] { files->push(big, "/sdcard", std::nullopt, CollisionPolicy::ask); }),
              HasSubstr(". What had arrived is left hidden as .lumivale-partial-"));
  tablet->clearFaults();
  reconnect();
  EXPECT_TRUE(files->list("/sdcard", false).empty());
  auto remains = files->leftovers("/sdcard");
  ASSERT_EQ(remains.size(), 1u);
  EXPECT_THAT(remains[0].entry.name, StartsWith(AdbFiles::partialPrefix));
  EXPECT_EQ(remains[0].kind, Leftover::unfinishedCopy);
  EXPECT_EQ(remains[0].belongsTo, "big.bin");
  // This process made it, and its push is over: nothing owns it any more.
  EXPECT_EQ(files->cleanUp("/sdcard").erased(), 1);
  EXPECT_TRUE(files->list("/sdcard", true).empty());

  // Left again, it is swept by the next copy into the folder.
  tablet->setFault("drop-after=1048576");
  tablet->setFault("offline");
  EXPECT_THROW(files->push(big, "/sdcard", std::nullopt, CollisionPolicy::ask), FilesError);
  tablet->clearFaults();
  reconnect();
  ASSERT_EQ(files->leftovers("/sdcard").size(), 1u);
  files->push(localFile("small.txt", "s"), "/sdcard", std::nullopt, CollisionPolicy::ask);
  EXPECT_EQ(namesOf(files->list("/sdcard", true)), (std::set<std::string>{"small.txt"}));
}

TEST_F(StandinFilesTest, ACancelledPushLeavesNothingBehind) {
  const fs::path big = localFile("big.bin", std::string(64 * 1024 * 1024, 'c'));
  StopToken cancel;
  // Cancel once the copy has started; the run is stopped, or its result set aside.
  ObserverFunction<TransferProgress> cancelling([&](const TransferProgress&) { cancel.cancel(); });
  EXPECT_THROW(files->stoppedBy(cancel).push(big, "/sdcard", std::nullopt, CollisionPolicy::ask,
                                             &cancelling),
               Cancelled);
  EXPECT_TRUE(files->list("/sdcard", true).empty());
}

TEST_F(StandinFilesTest, APushCancelledFromAnotherThreadStopsAdbAndLeavesNothing) {
  const fs::path big = localFile("big.bin", std::string(64 * 1024 * 1024, 'c'));
  StopToken cancel;
  std::promise<void> copying;
  std::once_flag started;
  ObserverFunction<TransferProgress> signalling(
      [&](const TransferProgress&) { std::call_once(started, [&] { copying.set_value(); }); });
  auto pushing = std::async(std::launch::async, [&] {
    files->stoppedBy(cancel).push(big, "/sdcard", std::nullopt, CollisionPolicy::ask, &signalling);
  });
  copying.get_future().wait();  // the adb push is running
  cancel.cancel();
  EXPECT_THROW(pushing.get(), Cancelled);
  EXPECT_EQ(adbChildren(), 0);
  EXPECT_TRUE(files->list("/sdcard", true).empty());
}

TEST_F(StandinFilesTest, ACancelledListingOfALargeFolderStopsItsAdbRun) {
  const fs::path many = onTablet("/sdcard/Many");
  fs::create_directories(many);
  for (int i = 0; i < 5000; ++i)
    std::ofstream(many / ("note-" + std::to_string(i) + ".txt")) << i;
  // Each stream waits before it is accepted, so the cancel lands while adb runs.
  tablet->setFault("slow=4000");
  StopToken cancel;
  auto listing = std::async(std::launch::async,
                            [&] { return files->stoppedBy(cancel).list("/sdcard/Many", false); });
  ASSERT_TRUE(adbRunUnderWay());
  cancel.cancel();
  EXPECT_THROW(listing.get(), Cancelled);
  EXPECT_EQ(adbChildren(), 0);
  tablet->clearFaults();
}

TEST_F(StandinFilesTest, ATabletWithoutSha256sumHashesNothing) {
  tablet->setFault("hide=sha256sum");
  std::ofstream(onTablet("/sdcard/a.txt")) << "a";
  EXPECT_FALSE(files->hashSupported());
  EXPECT_EQ(files->sha256("/sdcard/a.txt"), std::nullopt);
}

}  // namespace
}  // namespace lumivale::testing
