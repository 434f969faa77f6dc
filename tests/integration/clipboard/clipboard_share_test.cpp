// `lumivale clipboard share` as a user runs it, through the real adb on the stand-in, with a
// private clipboard file standing for the computer's.
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"
#include "platform/file_pasteboard.h"
#include "tests/integration/eventually.h"
#include "tests/integration/line_reading_run.h"
#include "tests/integration/standin_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

// One `lumivale clipboard share` run, its output read line by line as it comes.
class ShareRun : public LineReadingRun {
 public:
  ShareRun(const Environment& environment, const std::string& serial)
      : LineReadingRun(LUMIVALE_CLI_BINARY, {"--serial", serial, "clipboard", "share"},
                       environment) {}
};

class ClipboardShareTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet.reset(); }

  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "lumivale-share-it-XXXXXX").string();
    local = ::mkdtemp(pattern.data());
    fs::create_directories(local / "config");
    environment = standinCliEnvironment(*tablet, local / "config");
    environment["LUMIVALE_CLIP_PASTEBOARD"] = (local / "pasteboard.json").string();
    tablet->copyOnTablet(R"({"text":"before the link"})");
  }
  void TearDown() override { fs::remove_all(local); }

  FilePasteboard computer() const { return FilePasteboard(local / "pasteboard.json"); }
  std::string computerText() const {
    FilePasteboard pasteboard = computer();
    pasteboard.changeCount();
    auto content = pasteboard.read();
    return content.kind == PasteboardContent::Kind::text ? content.text : "";
  }
  static std::string tabletText() {
    auto clip = nlohmann::json::parse(tablet->clipboardRecord());
    return clip.value("text", "");
  }
  static void copyOnTablet(const std::string& text) {
    tablet->copyOnTablet(nlohmann::json{{"text", text}}.dump());
  }
  ShareRun share() const { return ShareRun(environment, tablet->serial()); }
  std::string history() const {
    auto run = ToolRun::runIn(environment, LUMIVALE_CLI_BINARY, {"clipboard", "history", "--json"},
                              Seconds(120));
    return run.stdoutData;
  }
  // The helper's JVM, found among this machine's processes by its data folder.
  static std::optional<pid_t> helperProcess() {
    for (const auto& entry : fs::directory_iterator("/proc")) {
      std::ifstream commandLine(entry.path() / "cmdline");
      std::string arguments((std::istreambuf_iterator<char>(commandLine)), {});
      if (arguments.find("com.lumivale.clip.Main") != std::string::npos &&
          arguments.find(tablet->dataFolder().string()) != std::string::npos &&
          arguments.find("java") != std::string::npos)
        return std::stoi(entry.path().filename().string());
    }
    return std::nullopt;
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  fs::path local;
  Environment environment;
};

TEST_F(ClipboardShareTest, CarriesCopiesBothWaysAndRecordsThem) {
  auto run = share();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  // What the tablet held before the link is not replayed.
  EXPECT_EQ(computerText(), "");

  computer().copy({{FilePasteboard::textFormat, "from the computer \u00e9\n\U0001F600"}});
  EXPECT_TRUE(within([&] { return tabletText() == "from the computer \u00e9\n\U0001F600"; }));
  EXPECT_TRUE(run.waitForLine("On over")) << run.transcript();
  copyOnTablet("from the tablet");
  EXPECT_TRUE(within([&] { return computerText() == "from the tablet"; }));

  // A copy a password manager marked never goes across.
  computer().copy(
      {{FilePasteboard::textFormat, "hunter2"}, {"x-kde-passwordManagerHint", "secret"}});
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  EXPECT_TRUE(within([&] {
    return run.transcript().find("marked as a password") != std::string::npos;
  })) << run.transcript();
  EXPECT_EQ(run.interrupt(), 0) << run.transcript();
  EXPECT_EQ(tabletText(), "from the tablet");

  const std::string listed = history();
  EXPECT_NE(listed.find("from the tablet"), std::string::npos) << listed;
  EXPECT_NE(listed.find("from the computer"), std::string::npos) << listed;
  EXPECT_EQ(listed.find("hunter2"), std::string::npos) << listed;
}

TEST_F(ClipboardShareTest, FiveHundredAlternatingCopiesWithoutEchoesOrRepeatedSets) {
  // Every set the helper makes replaces the tablet's clipboard through "clipboard.json.new".
  const fs::path clipboardFolder = tablet->hostPath("/data/standin");
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(watch, 0);
  ASSERT_GE(::inotify_add_watch(watch, clipboardFolder.c_str(), IN_MOVED_FROM), 0);

  auto run = share();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  const std::int64_t countBefore = computer().changeCount();
  for (int copy = 0; copy < 500; ++copy) {
    const std::string text = "copy " + std::to_string(copy);
    if (copy % 2 == 0) {
      computer().copy({{FilePasteboard::textFormat, text}});
      ASSERT_TRUE(within([&] { return tabletText() == text; })) << run.transcript();
    } else {
      copyOnTablet(text);
      ASSERT_TRUE(within([&] { return computerText() == text; })) << run.transcript();
    }
  }
  // The link handles one thing at a time: once this last copy is across, anything the
  // earlier ones could have sent back has been sent.
  computer().copy({{FilePasteboard::textFormat, "the end"}});
  ASSERT_TRUE(within([&] { return tabletText() == "the end"; }));
  EXPECT_EQ(run.interrupt(), 0) << run.transcript();

  // 250 copies made here and 250 written from the tablet: nothing written back twice.
  EXPECT_EQ(computer().changeCount() - countBefore, 501);
  int sets = 0;
  alignas(inotify_event) char buffer[64 * 1024];
  for (ssize_t got; (got = ::read(watch, buffer, sizeof buffer)) > 0;)
    for (char* at = buffer; at < buffer + got;) {
      auto* event = reinterpret_cast<inotify_event*>(at);
      if (event->len && std::string(event->name) == "clipboard.json.new") ++sets;
      at += sizeof(inotify_event) + event->len;
    }
  ::close(watch);
  EXPECT_EQ(sets, 251);
}

TEST_F(ClipboardShareTest, AKilledHelperIsStartedAgainWithoutReplayingOldClips) {
  auto run = share();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  copyOnTablet("old clip");
  ASSERT_TRUE(within([&] { return computerText() == "old clip"; }));
  computer().copy({{FilePasteboard::textFormat, "changed here since"}});
  ASSERT_TRUE(within([&] { return tabletText() == "changed here since"; }));

  auto helper = helperProcess();
  ASSERT_TRUE(helper);
  ASSERT_EQ(::kill(*helper, SIGKILL), 0);
  ASSERT_TRUE(run.waitForLine("Waiting for your Lumivale")) << run.transcript();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  EXPECT_EQ(computerText(), "changed here since");

  copyOnTablet("after the restart");
  EXPECT_TRUE(within([&] { return computerText() == "after the restart"; })) << run.transcript();
  EXPECT_EQ(run.interrupt(), 0) << run.transcript();
}

TEST_F(ClipboardShareTest, ATabletBackWithinTheWaitSyncsAgain) {
  auto run = share();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  tablet->restart();
  ASSERT_TRUE(run.waitForLine("Waiting for your Lumivale")) << run.transcript();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  copyOnTablet("after the reboot");
  EXPECT_TRUE(within([&] { return computerText() == "after the reboot"; })) << run.transcript();
  EXPECT_EQ(run.interrupt(), 0) << run.transcript();
}

TEST_F(ClipboardShareTest, AStaleHelperOfAnotherHashIsReplaced) {
  std::ofstream(tablet->hostPath("/data/local/tmp/lumivale-clip.dex"), std::ios::trunc)
      << "an older helper";
  auto run = share();
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();
  computer().copy({{FilePasteboard::textFormat, "with the new helper"}});
  EXPECT_TRUE(within([&] { return tabletText() == "with the new helper"; }));
  EXPECT_EQ(run.interrupt(), 0) << run.transcript();
}

}  // namespace
}  // namespace lumivale::testing
