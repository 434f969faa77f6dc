// `lumivale files` as a user runs it, against the stand-in tablet.
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/files/adb_files.h"
#include "tests/integration/files/standin_files.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class FilesCliTest : public StandinFilesTest {
 protected:
  void SetUp() override {
    StandinFilesTest::SetUp();
    environment = tablet->adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = (local / "config").string();
    // The stand-in is reached over TCP; these let it count as the cabled tablet.
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet->serial();
    environment["LUMIVALE_STANDIN_ONLY"] = "1";
    fs::create_directories(local / "config");
  }

  std::vector<std::string> command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--serial", tablet->serial(), "files"});
    return arguments;
  }

  ToolRun lumivale(std::vector<std::string> arguments) const {
    return ToolRun::runIn(environment, LUMIVALE_CLI_BINARY, command(std::move(arguments)),
                          Seconds(300));
  }

  Environment environment;
};

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
  EXPECT_EQ(pulled.stderrData,
            "lumivale: could not put the copy in " + plain.string() + ": Not a directory\n");
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
  std::string errors(4096, '\0');
  errors.resize(static_cast<std::size_t>(
      std::max<ssize_t>(0, ::read(child->stderrPipe()->get(), errors.data(), errors.size()))));
  if (status == 0) GTEST_SKIP() << "the copy ended before the interrupt arrived";
  EXPECT_EQ(status, 130);
  EXPECT_THAT(errors, HasSubstr("lumivale: cancelled\n"));
  EXPECT_TRUE(fs::is_empty(tablet->storageFolder()));
}

}  // namespace
}  // namespace lumivale::testing
