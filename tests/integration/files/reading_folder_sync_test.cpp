// The Reading folder's sync run through the real adb against the stand-in tablet.
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/files/reading-folder/reading_folder_store.h"
#include "core/files/reading-folder/reading_folder_sync.h"
#include "core/files/reading-folder/set_aside_journal.h"
#include "tests/integration/files/standin_files.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;

class ReadingFolderSyncTest : public StandinFilesTest {
 protected:
  void SetUp() override {
    StandinFilesTest::SetUp();
    options.settingsFolder = local / "settings";
    options.macFolder = local / "Reading";
    options.tabletFolder = "/sdcard/Documents/From Mac";
    options.tablet = "LV1TEST";
    fs::create_directories(options.macFolder);
  }

  void onMac(const std::string& path, const std::string& bytes) const {
    fs::create_directories((options.macFolder / path).parent_path());
    std::ofstream(options.macFolder / path, std::ios::binary) << bytes;
  }
  void onTabletFolder(const std::string& path, const std::string& bytes) const {
    const fs::path file = onTablet(options.tabletFolder + "/" + path);
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
  std::string tabletText(const std::string& path) const {
    std::ifstream in(onTablet(options.tabletFolder + "/" + path), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  // Every name under the tablet folder, hidden ones included.
  std::vector<std::string> tabletNames() const {
    std::vector<std::string> names;
    const fs::path top = onTablet(options.tabletFolder);
    for (const auto& item : fs::recursive_directory_iterator(top))
      names.push_back(fs::relative(item.path(), top).string());
    std::ranges::sort(names);
    return names;
  }
  ReadingFolderSummary sync() const {
    ReadingFolderSummary summary = ReadingFolderSync::run(*files, options);
    EXPECT_THAT(summary.failures, IsEmpty());
    return summary;
  }

  ReadingFolderSync::Options options;
};

TEST_F(ReadingFolderSyncTest, AFirstRunCopiesEverythingAndTheNextOneNothing) {
  onMac("a.pdf", "a bytes");
  onMac("Sub/b.txt", "b bytes");
  onMac("Notes?.pdf", "notes");
  onTabletFolder("mine.pdf", "the user's own");
  std::vector<ReadingFolderSyncEvent> events;
  ObserverFunction<ReadingFolderSyncEvent> observer(
      [&](const ReadingFolderSyncEvent& event) { events.push_back(event); });
  const ReadingFolderSummary first = ReadingFolderSync::run(*files, options, &observer);
  EXPECT_EQ(first.copied, 3);
  EXPECT_EQ(first.foldersMade, 1);
  EXPECT_THAT(first.failures, IsEmpty());
  EXPECT_EQ(tabletNames(),
            (std::vector<std::string>{"Notes_.pdf", "Sub", "Sub/b.txt", "a.pdf", "mine.pdf"}));
  EXPECT_EQ(tabletText("mine.pdf"), "the user's own");
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.back().finished, first);
  EXPECT_EQ(events.back().stepsDone, 4);
  EXPECT_EQ(events.back().bytesDone, events.back().bytes);

  EXPECT_THAT(ReadingFolderSync::preview(*files, options).actions, IsEmpty());
  const ReadingFolderSummary second = sync();
  EXPECT_EQ(second.unchanged, 3);
  EXPECT_EQ(second.copied + second.replaced + second.foldersMade, 0);
}

TEST_F(ReadingFolderSyncTest, AnEditReplacesAnUnchangedCopyAndAnEditOnBothSidesKeepsBoth) {
  onMac("a.pdf", "version 1");
  onMac("b.pdf", "version 1");
  sync();
  onMac("a.pdf", "version 2");
  onMac("b.pdf", "version 2");
  onTabletFolder("b.pdf", "edited on the tablet");
  const ReadingFolderSummary summary = sync();
  EXPECT_EQ(summary.replaced, 1);
  EXPECT_EQ(summary.keptBoth, 1);
  EXPECT_EQ(tabletText("a.pdf"), "version 2");
  EXPECT_EQ(tabletText("b.pdf"), "edited on the tablet");
  EXPECT_EQ(tabletText("b (from Mac).pdf"), "version 2");
  EXPECT_EQ(tabletNames(), (std::vector<std::string>{"a.pdf", "b (from Mac).pdf", "b.pdf"}));
  // From then on the "(from Mac)" copy is the one kept up to date.
  onMac("b.pdf", "version 3");
  EXPECT_EQ(sync().replaced, 1);
  EXPECT_EQ(tabletText("b (from Mac).pdf"), "version 3");
  EXPECT_EQ(tabletText("b.pdf"), "edited on the tablet");
}

// A run stopped after the new copy took its name but before the old one was erased and the
// record saved: the next run finishes it, and copies nothing again.
TEST_F(ReadingFolderSyncTest, TheNextRunFinishesAReplacementThatWasInterrupted) {
  onMac("a.pdf", "version 1");
  sync();
  onMac("a.pdf", "version 2");
  const ReadingFolderPlan plan = ReadingFolderSync::preview(*files, options);
  ASSERT_EQ(plan.actions.size(), 1u);

  const std::string folder = options.tabletFolder;
  const std::string staged = files->pushStaged(options.macFolder / "a.pdf", folder, "a.pdf");
  const ReadingTree::Item item = files->readingItems({staged}).at(staged);
  const std::string id = staged.substr(staged.rfind('-') + 1);
  const std::string heldAs = folder + "/.lumivale-partial-old-" + id;
  files->moveChecked(folder + "/a.pdf", heldAs, "set a.pdf aside");
  files->moveChecked(staged, folder + "/a.pdf", "put a.pdf in place");
  ReadingFolderStore::SetAsideFile journal;
  journal.serial = options.tablet;
  journal.entries.push_back({folder + "/a.pdf", heldAs});
  ReadingFolderManifest::CopiedFile copied;
  copied.size = 9;  // its date and identity differ from the scan's: only a new stamp
  copied.sha256 = *files->sha256(folder + "/a.pdf");
  copied.tabletPath = "a.pdf";
  copied.tabletSize = item.size;
  copied.tabletModified = item.modified;
  journal.stages.push_back({id, "a.pdf", staged, folder + "/a.pdf", *item.identity, copied});
  journal.save(options.settingsFolder);

  const ReadingFolderSummary summary = sync();
  EXPECT_EQ(summary.replaced + summary.copied + summary.keptBoth, 0);
  EXPECT_THAT(summary.failures, IsEmpty());
  EXPECT_EQ(tabletText("a.pdf"), "version 2");
  EXPECT_EQ(tabletNames(), std::vector<std::string>{"a.pdf"});
  EXPECT_TRUE(
      ReadingFolderStore::SetAsideFile::load(options.settingsFolder, options.tablet).empty());
}

// Stopped after the old copy was set aside: it goes back under its name, and the run
// replaces it again.
TEST_F(ReadingFolderSyncTest, TheNextRunPutsBackACopySetAsideAndReplacesItAgain) {
  onMac("a.pdf", "version 1");
  sync();
  onMac("a.pdf", "version 2");
  const std::string folder = options.tabletFolder;
  const std::string staged = files->pushStaged(options.macFolder / "a.pdf", folder, "a.pdf");
  const std::string id = staged.substr(staged.rfind('-') + 1);
  const std::string heldAs = folder + "/.lumivale-partial-old-" + id;
  files->moveChecked(folder + "/a.pdf", heldAs, "set a.pdf aside");
  ReadingFolderStore::SetAsideFile journal;
  journal.serial = options.tablet;
  journal.entries.push_back({folder + "/a.pdf", heldAs});
  journal.stages.push_back({id, "a.pdf", staged, folder + "/a.pdf", "0:0", {}});
  journal.save(options.settingsFolder);

  const ReadingFolderSummary summary = sync();
  EXPECT_EQ(summary.replaced, 1);
  EXPECT_EQ(tabletText("a.pdf"), "version 2");
  EXPECT_EQ(tabletNames(), std::vector<std::string>{"a.pdf"});
}

}  // namespace
}  // namespace lumivale::testing
