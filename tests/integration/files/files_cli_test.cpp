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
  EXPECT_EQ(status, 1);
  EXPECT_THAT(errors, HasSubstr("lumivale: cancelled\n"));
  EXPECT_TRUE(fs::is_empty(tablet->storageFolder()));
}

}  // namespace
}  // namespace lumivale::testing
