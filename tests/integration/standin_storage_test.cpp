// The stand-in's shared storage behaves as the tablet's: one name in any case, the
// case it was given kept, and no name with a character FAT does not allow.
#include <filesystem>
#include <fstream>
#include <set>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

std::set<std::string> storedNames(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    names.insert(entry.path().filename().string());
  return names;
}

std::string contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class StandinStorageTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet_ = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet_.reset(); }
  void SetUp() override {
    for (const auto& item : fs::directory_iterator(stored()))
      fs::remove_all(item);
  }

  static StandinTablet& tablet() { return *tablet_; }
  static fs::path stored() { return tablet_->storageFolder(); }
  // Runs a shell line in /sdcard; its output with errors merged, and its status.
  static std::pair<std::string, int> inStorage(const std::string& line) {
    ToolRun run = tablet().shell("cd /sdcard && { " + line + "; } 2>&1");
    return {run.stdoutData, run.status};
  }

  static inline std::unique_ptr<StandinTablet> tablet_;
};

TEST_F(StandinStorageTest, ANameInAnotherCaseIsTheSameItem) {
  auto [output, status] = inStorage("echo one > a.pdf && echo two > A.PDF && cat a.pdf && ls");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "two\na.pdf\n");
  EXPECT_EQ(storedNames(stored()), (std::set<std::string>{"a.pdf"}));
  EXPECT_EQ(contents(stored() / "a.pdf"), "two\n");

  // A folder too, also for a path reached through another case and for adb push.
  std::tie(output, status) = inStorage("mkdir Docs && mkdir DOCS");
  EXPECT_NE(status, 0) << output;
  EXPECT_NE(output.find("File exists"), std::string::npos) << output;
  fs::path local = tablet().dataFolder() / "note.txt";
  std::ofstream(local) << "pushed";
  ToolRun push = tablet().adb({"push", local.string(), "/sdcard/DOCS/Note.txt"});
  ASSERT_EQ(push.status, 0) << push.stderrData;
  EXPECT_EQ(storedNames(stored()), (std::set<std::string>{"a.pdf", "Docs"}));
  EXPECT_EQ(contents(stored() / "Docs" / "Note.txt"), "pushed");
  EXPECT_EQ(tablet().shell("cat /sdcard/docs/NOTE.TXT").stdoutData, "pushed");
}

TEST_F(StandinStorageTest, ARenameKeepsTheCaseItWasGiven) {
  auto [output, status] = inStorage("echo a > a.pdf && mv a.pdf A.Pdf && ls");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "A.Pdf\n");
  EXPECT_EQ(storedNames(stored()), (std::set<std::string>{"A.Pdf"}));

  // Over another item in another case: that item goes, and the name is as given.
  std::tie(output, status) = inStorage("echo b > b.txt && mv -f A.Pdf B.TXT && ls && cat b.txt");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "B.TXT\na\n");
  EXPECT_EQ(storedNames(stored()), (std::set<std::string>{"B.TXT"}));
}

TEST_F(StandinStorageTest, TheTabletRefusesNamesFatDoesNotAllow) {
  for (char forbidden : std::string_view("\"*:<>?\\|")) {
    std::string name = fmt::format("a{}b", forbidden);
    SCOPED_TRACE(name);
    // The tablet's own answer, to a raw shell line that no check of ours sees.
    ToolRun touch = tablet().shell(fmt::format("touch '/sdcard/{}'", name));
    EXPECT_NE(touch.status, 0);
    EXPECT_EQ(touch.stderrData, fmt::format("touch: '/sdcard/{}': Invalid argument\n", name));
    auto [output, status] =
        inStorage(fmt::format("mkdir '{0}' || echo x > ok && mv ok '{0}'", name));
    EXPECT_NE(status, 0) << output;
    EXPECT_NE(output.find("Invalid argument"), std::string::npos) << output;
  }
  EXPECT_EQ(storedNames(stored()), (std::set<std::string>{"ok"}));
}

// A name looked up in another case is found from what the storage keeps of the folder;
// what is put straight into the backing folder afterwards must still be found.
TEST_F(StandinStorageTest, SeesWhatIsPutBesideItAfterALookup) {
  auto [output, status] = inStorage("mkdir Docs && echo one > Docs/one.txt && cat DOCS/ONE.TXT");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "one\n");

  std::ofstream(stored() / "Docs" / "Late.pdf") << "late";
  std::tie(output, status) = inStorage("cat docs/late.PDF && echo again > Docs/LATE.PDF");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "late");
  EXPECT_EQ(contents(stored() / "Docs" / "Late.pdf"), "again\n");

  // Gone or renamed behind its back: the old name is not found in any case.
  fs::rename(stored() / "Docs" / "one.txt", stored() / "Docs" / "Two.txt");
  fs::remove(stored() / "Docs" / "Late.pdf");
  std::tie(output, status) = inStorage("cat docs/ONE.txt");
  EXPECT_NE(status, 0) << output;
  std::tie(output, status) = inStorage("cat docs/late.pdf");
  EXPECT_NE(status, 0) << output;
  std::tie(output, status) = inStorage("cat DOCS/two.TXT && ls Docs");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "one\nTwo.txt\n");
}

// Many names made, renamed and removed in one folder, as a push of a whole folder does,
// and every name still found once in any case.
TEST_F(StandinStorageTest, KeepsOneNameThroughManyChangesInAFolder) {
  auto [output, status] = inStorage(
      "mkdir Many && cd Many && for i in $(seq 200); do echo $i > File-$i.txt; done && "
      "echo a > a.pdf && echo b > B.PDF && mv a.pdf Moved.pdf && mv -f b.pdf MOVED.PDF && "
      "echo A > A.PDF && mkdir Sub && rmdir SUB && mkdir sub && "
      "rm file-7.TXT && ln file-8.txt Linked && cat LINKED moved.pdf a.pdf");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "8\nb\nA\n");
  std::set<std::string> names = storedNames(stored() / "Many");
  EXPECT_EQ(names.size(), 199 + 4) << output;
  for (const char* name : {"A.PDF", "MOVED.PDF", "sub", "Linked"})
    EXPECT_TRUE(names.contains(name)) << name;
  EXPECT_FALSE(names.contains("File-7.txt"));

  // Two at once in the same folder: every name made once, and found in any case after.
  std::tie(output, status) = inStorage(
      "cd Many && { for i in $(seq 100); do echo x > x$i; done & "
      "for i in $(seq 100); do echo y > Y$i; done; wait; } && "
      "for i in $(seq 100); do echo X > X$i && echo y > y$i; done && cat X100 y1");
  ASSERT_EQ(status, 0) << output;
  EXPECT_EQ(output, "X\ny\n");
  EXPECT_EQ(storedNames(stored() / "Many").size(), 203 + 200);
}

TEST(StandinPlainStorageTest, KeepsBothCasesAndAnyName) {
  StandinTablet tablet(StandinOptions().withPlainStorage());
  ToolRun run = tablet.shell("cd /sdcard && touch a.pdf A.PDF 'a:b' && ls");
  ASSERT_EQ(run.status, 0) << run.stderrData;
  EXPECT_EQ(run.stdoutData, "A.PDF\na.pdf\na:b\n");
  EXPECT_EQ(storedNames(tablet.storageFolder()), (std::set<std::string>{"a.pdf", "A.PDF", "a:b"}));
}

}  // namespace
}  // namespace lumivale::testing
