// `lumivale files` as a user runs it, against the stand-in tablet.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/files/adb_files.h"
#include "tests/integration/adb_children.h"
#include "tests/integration/files/files_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;

std::vector<std::string> scratchFolders(const fs::path& folder) {
  std::vector<std::string> found;
  for (const auto& item : fs::directory_iterator(folder)) {
    if (item.path().filename().string().starts_with(".lumivale-pull-"))
      found.push_back(item.path().filename());
  }
  return found;
}

// What an ended child wrote to its error stream.
std::string errorsOf(Spawn::Child& child) {
  std::string errors(4096, '\0');
  errors.resize(static_cast<std::size_t>(
      std::max<ssize_t>(0, ::read(child.stderrPipe()->get(), errors.data(), errors.size()))));
  return errors;
}

// Waits, for half a minute at most, until a pull's copy is arriving in `folder`.
void pullArriving(const fs::path& folder) {
  bool arriving = false;
  for (int wait = 0; wait < 3000 && !arriving; ++wait) {
    for (const auto& name : scratchFolders(folder))
      arriving = arriving || !fs::is_empty(folder / name);
    if (!arriving) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

TEST_F(FilesCliTest, PushListAndPullToAFreeName) {
  ASSERT_EQ(lumivale({"mkdir", "-p", "Books/Old"}).status, 0);
  const fs::path book = localFile("a.pdf", "pdf bytes");
  auto pushed = lumivale({"push", book.string(), "Books"});
  ASSERT_EQ(pushed.status, 0) << pushed.stderrData;
  EXPECT_EQ(pushed.stdoutData, "/sdcard/Books/a.pdf\n");
  // Not on a terminal: no progress bar, and no question about the taken name.
  EXPECT_EQ(pushed.stderrData, "");
  auto again = lumivale({"push", book.string(), "Books"});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.stderrData, "lumivale: '/sdcard/Books/a.pdf' already exists\n");

  auto listed = lumivale({"ls", "Books", "--json", "--sort", "kind"});
  ASSERT_EQ(listed.status, 0) << listed.stderrData;
  auto entries = nlohmann::json::parse(listed.stdoutData);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0]["name"], "Old");
  EXPECT_EQ(entries[1]["path"], "/sdcard/Books/a.pdf");
  EXPECT_EQ(entries[1]["size"], 9);

  fs::create_directories(local / "Downloads");
  std::ofstream(local / "Downloads" / "a.pdf") << "mine";
  auto pulled = lumivale({"pull", "Books/a.pdf", (local / "Downloads").string()});
  ASSERT_EQ(pulled.status, 0) << pulled.stderrData;
  EXPECT_EQ(pulled.stdoutData, (local / "Downloads" / "a 2.pdf").string() + "\n");
  std::string kept;
  std::getline(std::ifstream(local / "Downloads" / "a.pdf"), kept);
  EXPECT_EQ(kept, "mine");
}

TEST_F(FilesCliTest, ListsNamesInTheOrderPeopleExpect) {
  for (const char* name : {"Zebra.txt", "Öl.txt", "scan 10.pdf", "éclair.txt", "Scan 9.pdf",
                           "apple.txt", "Жук.txt", "Eclair.txt"})
    std::ofstream(onTablet(std::string("/sdcard/") + name)) << name;
  auto namesListed = [&](const char* language) {
    environment["LANG"] = language;
    auto listed = lumivale({"ls", "--json"});
    EXPECT_EQ(listed.status, 0) << listed.stderrData;
    std::vector<std::string> names;
    for (const auto& entry : nlohmann::json::parse(listed.stdoutData))
      names.push_back(entry["name"]);
    return names;
  };
  // The C locale, where programs on Linux often run, gets the common order, not capitals first.
  EXPECT_EQ(namesListed("C"),
            (std::vector<std::string>{"apple.txt", "Eclair.txt", "éclair.txt", "Öl.txt",
                                      "Scan 9.pdf", "scan 10.pdf", "Zebra.txt", "Жук.txt"}));
  // Swedish sorts Ö after Z.
  EXPECT_EQ(namesListed("sv_SE.UTF-8"),
            (std::vector<std::string>{"apple.txt", "Eclair.txt", "éclair.txt", "Scan 9.pdf",
                                      "scan 10.pdf", "Zebra.txt", "Öl.txt", "Жук.txt"}));
}

TEST_F(FilesCliTest, BadInputIsAUsageErrorOrARefusal) {
  EXPECT_EQ(lumivale({"ls", "--sort", "colour"}).status, 2);
  auto outside = lumivale({"rm", "/data/local/tmp"});
  EXPECT_EQ(outside.status, 1);
  EXPECT_EQ(
      outside.stderrData,
      "lumivale: '/data/local/tmp': it is outside the tablet\u2019s shared storage (/sdcard)\n");
}

TEST_F(FilesCliTest, AFolderIsNeitherHashedNorRemovedWithoutMeaningIt) {
  ASSERT_EQ(lumivale({"mkdir", "-p", "Books/Old"}).status, 0);
  ASSERT_EQ(lumivale({"push", localFile("a.pdf", "pdf bytes").string(), "Books"}).status, 0);
  auto hashed = lumivale({"hash", "Books"});
  EXPECT_EQ(hashed.status, 1);
  EXPECT_EQ(hashed.stdoutData, "");
  EXPECT_EQ(hashed.stderrData,
            "lumivale: '/sdcard/Books' is a folder; only a file can be hashed\n");
  auto digest = nlohmann::json::parse(lumivale({"hash", "Books/a.pdf", "--json"}).stdoutData);
  EXPECT_EQ(digest["path"], "/sdcard/Books/a.pdf");
  EXPECT_EQ(digest["sha256"].get<std::string>().size(), 64u);

  auto refused = lumivale({"rm", "Books/Old", "Books"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stderrData,
            "lumivale: '/sdcard/Books' is a folder with items in it; use -r to remove it with all "
            "it holds\n");
  EXPECT_TRUE(fs::is_directory(tablet->storageFolder() / "Books" / "Old")) << "nothing removed";
  auto removed = lumivale({"rm", "-r", "Books/Old", "Books"});
  EXPECT_EQ(removed.status, 0) << removed.stderrData;
  EXPECT_EQ(removed.stdoutData, "removed /sdcard/Books/Old\nremoved /sdcard/Books\n");
  EXPECT_FALSE(fs::exists(tablet->storageFolder() / "Books"));
}

TEST_F(FilesCliTest, SerialAfterTheCommandAndJsonKeysAlike) {
  auto run = [&](std::vector<std::string> arguments) {
    return ToolRun::runIn(environment, LUMIVALE_CLI_BINARY, arguments, Seconds(300));
  };
  ASSERT_EQ(run({"files", "mkdir", "Notes", "--serial", tablet->serial()}).status, 0);
  auto missingParent = run({"files", "mkdir", "a/b/c", "--serial", tablet->serial()});
  EXPECT_EQ(missingParent.status, 1);
  EXPECT_EQ(missingParent.stderrData,
            "lumivale: could not make /sdcard/a/b/c: its folder /sdcard/a/b does not exist (use -p "
            "to make it too)\n");
  auto gone = run({"files", "ls", "--serial", "GONE"});
  EXPECT_EQ(gone.status, 1);
  EXPECT_EQ(gone.stderrData,
            "lumivale: no Lumivale with serial 'GONE' is connected (see lumivale devices)\n");
  for (const char* command : {"free", "du"}) {
    auto amount = run({"files", command, "Notes", "--json", "--serial", tablet->serial()});
    ASSERT_EQ(amount.status, 0) << amount.stderrData;
    auto json = nlohmann::json::parse(amount.stdoutData);
    EXPECT_EQ(json["path"], "/sdcard/Notes") << command;
    EXPECT_TRUE(json["bytes"].is_number_unsigned()) << command;
  }
  auto leftovers = run({"files", "leftovers", "--json", "--serial", tablet->serial()});
  EXPECT_EQ(nlohmann::json::parse(leftovers.stdoutData), nlohmann::json::array());
  auto pulled = run(
      {"files", "pull", "Notes", (local / "nowhere" / "x").string(), "--serial", tablet->serial()});
  EXPECT_EQ(pulled.status, 1);
  EXPECT_EQ(pulled.stderrData, "lumivale: the folder " + (local / "nowhere").string() +
                                   " does not exist on this computer\n");
}

TEST_F(FilesCliTest, ALocalPlaceThatCannotTakeTheCopySaysWhereAndWhy) {
  ASSERT_EQ(lumivale({"push", localFile("a.pdf", "pdf bytes").string()}).status, 0);
  const fs::path plain = localFile("plain", "a file, not a folder");
  auto pulled = lumivale({"pull", "a.pdf", (plain / "a.pdf").string()});
  EXPECT_EQ(pulled.status, 1);
  EXPECT_EQ(pulled.stderrData, "lumivale: could not make a scratch folder for the copy in " +
                                   plain.string() + ": Not a directory\n");

  // Something on the way that is there but cannot be entered is not "missing".
  auto pushed = lumivale({"push", (plain / "a.pdf").string()});
  EXPECT_EQ(pushed.status, 1);
  EXPECT_EQ(pushed.stderrData, "lumivale: could not look at '" + (plain / "a.pdf").string() +
                                   "' on this Mac: Not a directory\n");
  pushed = lumivale({"push", (local / "gone.pdf").string()});
  EXPECT_EQ(pushed.stderrData,
            "lumivale: '" + (local / "gone.pdf").string() + "' does not exist on this Mac\n");
}

TEST_F(FilesCliTest, AnInterruptedPushStopsAndLeavesNothing) {
  const fs::path big = localFile("big.bin", std::string(512 * 1024 * 1024, 'i'));
  auto child =
      Spawn::launch(LUMIVALE_CLI_BINARY, command({"push", big.string()}), environment, false, true);
  // Interrupt once the copy is arriving on the tablet, as a user would press Ctrl-C.
  bool arriving = false;
  for (int wait = 0; wait < 3000 && !arriving; ++wait) {
    for (const auto& item : fs::directory_iterator(tablet->storageFolder()))
      arriving = arriving || item.path().filename().string().starts_with(AdbFiles::partialPrefix);
    if (!arriving) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(arriving);
  child->signalIfRunning(SIGINT);
  const int status = child->wait();
  const std::string errors = errorsOf(*child);
  if (status == 0) GTEST_SKIP() << "the copy ended before the interrupt arrived";
  EXPECT_EQ(status, 130);
  EXPECT_THAT(errors, HasSubstr("lumivale: cancelled\n"));
  EXPECT_TRUE(fs::is_empty(tablet->storageFolder()));
}

// The name of this computer, as staging records give it.
std::string hostName() {
  char name[256] = {};
  ::gethostname(name, sizeof name - 1);
  return name;
}

// A process id that was just in use and is not any more.
pid_t goneProcess() {
  auto child = Spawn::launch("/bin/true", {}, {}, false, false);
  child->wait();
  return child->pid();
}

std::string contents(const fs::path& file) {
  std::string text;
  std::getline(std::ifstream(file), text);
  return text;
}

TEST_F(FilesCliTest, LeftoversSayWhatTheyAreAndCleanUpPutsBackWhatItCan) {
  const fs::path camp = onTablet("/sdcard/Camp");
  fs::create_directories(camp);
  std::ofstream(camp / ".lumivale-renaming-ab12") << "the book";
  std::ofstream(camp / ".lumivale-record-ab12") << fmt::format(
      "lumivale staging record 1\nid=ab12\noperation=rename\nname=a.pdf\n"
      "newName=b.pdf\nhost={}\npid={}\nstarted=1\n",
      hostName(), goneProcess());
  std::ofstream(camp / ".lumivale-partial-old-cd34") << "an old copy";

  auto listed = lumivale({"leftovers", "Camp"});
  ASSERT_EQ(listed.status, 0) << listed.stderrData;
  EXPECT_EQ(listed.stdoutData,
            "keptCopy  /sdcard/Camp/.lumivale-partial-old-cd34  owner unknown\n"
            "  /sdcard/Camp/.lumivale-partial-old-cd34 is an old copy set aside while it was being "
            "replaced, whose name was not recorded; it is kept: Lumivale cannot tell which name it "
            "belongs to. Rename it to give it a name again, or delete it\n"
            "unfinishedRename  /sdcard/Camp/.lumivale-renaming-ab12  belongs to 'a.pdf'\n"
            "  /sdcard/Camp/.lumivale-renaming-ab12 is 'a.pdf', part way through a rename to "
            "'b.pdf'; clean-up puts it back as 'a.pdf'\n");

  auto cleaned = lumivale({"cleanup", "Camp", "--pulls-in", local.string()});
  ASSERT_EQ(cleaned.status, 0) << cleaned.stderrData;
  EXPECT_THAT(
      cleaned.stdoutData,
      AllOf(HasSubstr("put back /sdcard/Camp/a.pdf (/sdcard/Camp/.lumivale-renaming-ab12 is "
                      "'a.pdf', part way through a rename to 'b.pdf';"),
            HasSubstr("kept /sdcard/Camp/.lumivale-partial-old-cd34 is an old copy"),
            HasSubstr("0 leftovers erased, 1 put back\n")));
  std::string book;
  std::getline(std::ifstream(camp / "a.pdf"), book);
  EXPECT_EQ(book, "the book");
  std::vector<std::string> left;
  for (const auto& item : fs::directory_iterator(camp))
    left.push_back(item.path().filename());
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::string>{".lumivale-partial-old-cd34", "a.pdf"}));
}

TEST_F(FilesCliTest, WithoutAFolderLeftoversAreSoughtThroughTheWholeStorage) {
  const fs::path deep = onTablet("/sdcard/A/B/C");
  fs::create_directories(deep);
  std::ofstream(deep / ".lumivale-partial-old-cd34") << "an old copy";
  const fs::path camp = onTablet("/sdcard/Camp");
  // What a staged folder holds belongs to it and is not a leftover of its own.
  fs::create_directories(camp / ".lumivale-renaming-ab12" / ".lumivale-partial-inside");
  std::ofstream(camp / ".lumivale-record-ab12") << fmt::format(
      "lumivale staging record 1\nid=ab12\noperation=rename\nname=Old\n"
      "newName=New\nhost={}\npid={}\nstarted=1\n",
      hostName(), goneProcess());

  auto listed = lumivale({"leftovers", "--json"});
  ASSERT_EQ(listed.status, 0) << listed.stderrData;
  std::vector<std::string> paths;
  for (const auto& item : nlohmann::json::parse(listed.stdoutData))
    paths.push_back(item["path"]);
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ(paths, (std::vector<std::string>{"/sdcard/A/B/C/.lumivale-partial-old-cd34",
                                             "/sdcard/Camp/.lumivale-renaming-ab12"}));

  auto cleaned = lumivale({"cleanup", "--pulls-in", local.string()});
  ASSERT_EQ(cleaned.status, 0) << cleaned.stderrData;
  EXPECT_THAT(cleaned.stdoutData,
              AllOf(HasSubstr("put back /sdcard/Camp/Old ("),
                    HasSubstr("kept /sdcard/A/B/C/.lumivale-partial-old-cd34 is an old copy")));
  EXPECT_TRUE(fs::is_directory(camp / "Old" / ".lumivale-partial-inside"));
}

TEST_F(FilesCliTest, APushThatLeavesItsCopyBehindNamesTheCleanUpThatClearsIt) {
  const fs::path big = localFile("big.bin", std::string(8 * 1024 * 1024, 'b'));
  // The copy is cut midway, and so is the erasing of what had arrived.
  tablet->setFault("drop-after=1048576");
  tablet->setFault("drop-at=rm");
  auto pushed = lumivale({"push", big.string()});
  tablet->clearFaults();
  tablet->connect();
  ASSERT_EQ(tablet->adb({"wait-for-device"}, Seconds(60)).status, 0);
  EXPECT_EQ(pushed.status, 1);
  EXPECT_THAT(
      pushed.stderrData,
      AllOf(HasSubstr(". What had arrived is left hidden as .lumivale-partial-"),
            HasSubstr(" in /sdcard: the next copy into that folder removes it, and so "
                      "does Clean up in the Files pane (lumivale files cleanup /sdcard)\n")));

  auto cleaned = lumivale({"cleanup", "/sdcard", "--pulls-in", local.string()});
  ASSERT_EQ(cleaned.status, 0) << cleaned.stderrData;
  std::vector<std::string> left;
  for (const auto& item : fs::directory_iterator(tablet->storageFolder()))
    left.push_back(item.path().filename());
  EXPECT_THAT(left, ::testing::IsEmpty());
}

TEST_F(FilesCliTest, APullKilledMidwayLeavesNoScratchFolderAfterTheNextPull) {
  {
    std::ofstream big(onTablet("/sdcard/big.bin"), std::ios::binary);
    big << std::string(256 * 1024 * 1024, 'p');
  }
  std::ofstream(onTablet("/sdcard/small.txt")) << "small";
  const fs::path downloads = local / "Downloads";
  fs::create_directories(downloads);
  auto child = launchAlone({"pull", "big.bin", downloads.string()});
  // Stop it once its copy is arriving, as a crash or a closed terminal would.
  pullArriving(downloads);
  ::kill(-child->pid(), SIGKILL);
  child->wait();
  if (scratchFolders(downloads).empty()) GTEST_SKIP() << "the pull ended before it was killed";

  auto pulled = lumivale({"pull", "small.txt", downloads.string()});
  ASSERT_EQ(pulled.status, 0) << pulled.stderrData;
  EXPECT_TRUE(scratchFolders(downloads).empty());
  EXPECT_TRUE(fs::exists(downloads / "small.txt"));
}

TEST_F(FilesCliTest, APullIntoATakenNameAsksReplacesOrKeepsBoth) {
  std::ofstream(onTablet("/sdcard/a.pdf")) << "from the tablet";
  fs::create_directories(onTablet("/sdcard/Notes"));
  std::ofstream(onTablet("/sdcard/Notes/new.txt")) << "new note";
  const fs::path downloads = local / "Downloads";
  fs::create_directories(downloads / "Notes");
  std::ofstream(downloads / "a.pdf") << "mine";
  std::ofstream(downloads / "Notes" / "old.txt") << "old note";

  // Not on a terminal nobody can be asked: nothing is copied and the way on is named.
  auto refused = lumivale({"pull", "a.pdf", downloads.string(), "--if-exists", "ask"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.stderrData,
            "lumivale: " + (downloads / "a.pdf").string() +
                " already exists on this computer; nothing was copied (choose with --if-exists "
                "replace or keep-both)\n");
  EXPECT_EQ(contents(downloads / "a.pdf"), "mine");

  // On a terminal the question is put; "k" keeps both.
  auto asked = onTerminal({"pull", "a.pdf", downloads.string(), "--if-exists", "ask"}, "k\n");
  EXPECT_EQ(asked.status, 0) << asked.stdoutData;
  EXPECT_THAT(asked.stdoutData,
              HasSubstr("'" + (downloads / "a.pdf").string() +
                        "' already exists on this computer. Replace it, keep both, or cancel?"));
  EXPECT_EQ(contents(downloads / "a 2.pdf"), "from the tablet");

  auto replaced = lumivale({"pull", "a.pdf", downloads.string(), "--if-exists", "replace"});
  ASSERT_EQ(replaced.status, 0) << replaced.stderrData;
  EXPECT_EQ(replaced.stdoutData, (downloads / "a.pdf").string() + "\n");
  EXPECT_EQ(contents(downloads / "a.pdf"), "from the tablet");

  // A folder is replaced whole: nothing of the old one is mixed into the new.
  auto folder = lumivale({"pull", "Notes", downloads.string(), "--if-exists", "replace"});
  ASSERT_EQ(folder.status, 0) << folder.stderrData;
  EXPECT_EQ(contents(downloads / "Notes" / "new.txt"), "new note");
  EXPECT_FALSE(fs::exists(downloads / "Notes" / "old.txt"));
  // The old copies went with the scratch folder they were swapped into.
  EXPECT_TRUE(scratchFolders(downloads).empty());
}

TEST_F(FilesCliTest, CtrlCBeforeTheCopyStartsIsACancel) {
  std::ofstream(onTablet("/sdcard/a.pdf")) << "pdf bytes";
  // Every tablet step waits, so the Ctrl-C lands on a step before the copy.
  tablet->setFault("slow=2000");
  auto child = launchAlone({"pull", "a.pdf", local.string()});
  ASSERT_TRUE(adbRunUnderWay(child->pid(), "shell", tablet->adbServer()->port()));
  // As a terminal does: the whole group, adb included, gets the Ctrl-C.
  ::kill(-child->pid(), SIGINT);
  const int status = child->wait();
  const std::string errors = errorsOf(*child);
  EXPECT_EQ(status, 130) << errors;
  EXPECT_EQ(errors, "lumivale: cancelled\n");
  EXPECT_FALSE(fs::exists(local / "a.pdf"));
  EXPECT_TRUE(scratchFolders(local).empty());
}

TEST_F(FilesCliTest, RemovingAFolderWithItemsAsksOnATerminal) {
  fs::create_directories(onTablet("/sdcard/Old"));
  std::ofstream(onTablet("/sdcard/Old/a.txt")) << "a";
  auto kept = onTerminal({"rm", "-r", "Old"}, "n\n");
  EXPECT_EQ(kept.status, 0) << kept.stdoutData;
  EXPECT_THAT(kept.stdoutData, AllOf(HasSubstr("Remove /sdcard/Old and all it holds (1 file, "),
                                     HasSubstr("Kept /sdcard/Old.")));
  EXPECT_TRUE(fs::exists(onTablet("/sdcard/Old/a.txt")));

  auto removed = onTerminal({"rm", "-r", "Old"}, "y\n");
  EXPECT_EQ(removed.status, 0) << removed.stdoutData;
  EXPECT_THAT(removed.stdoutData, HasSubstr("removed /sdcard/Old"));
  EXPECT_FALSE(fs::exists(onTablet("/sdcard/Old")));
}

TEST_F(FilesCliTest, APullInterruptedMidwayIsACancelThatLeavesNothing) {
  {
    std::ofstream big(onTablet("/sdcard/big.bin"), std::ios::binary);
    big << std::string(256 * 1024 * 1024, 'p');
  }
  const fs::path downloads = local / "Downloads";
  fs::create_directories(downloads);
  auto child = launchAlone({"pull", "big.bin", downloads.string()});
  pullArriving(downloads);
  ::kill(-child->pid(), SIGINT);
  const int status = child->wait();
  const std::string errors = errorsOf(*child);
  if (status == 0) GTEST_SKIP() << "the pull ended before the interrupt arrived";
  EXPECT_EQ(status, 130);
  EXPECT_EQ(errors, "lumivale: cancelled\n");
  EXPECT_TRUE(fs::is_empty(downloads));
}

}  // namespace
}  // namespace lumivale::testing
