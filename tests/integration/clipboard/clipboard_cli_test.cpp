// `lumivale clipboard get|set` as a user runs them, through the real adb on the stand-in,
// whose app_process runs the shipped helper on the host JVM.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/clipboard/clip_helper_dex.h"
#include "core/tablet/tool_run.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

class ClipboardCliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet.reset(); }

  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "lumivale-clip-it-XXXXXX").string();
    local = ::mkdtemp(pattern.data());
    fs::create_directories(local / "config");
    environment = tablet->adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = (local / "config").string();
    // The stand-in is reached over TCP; these let it count as the cabled tablet.
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet->serial();
    environment["LUMIVALE_STANDIN_ONLY"] = "1";
  }
  void TearDown() override { fs::remove_all(local); }

  // `lumivale clipboard ARGS...`, standard input from `input` when given.
  ToolRun lumivale(const std::vector<std::string>& arguments,
                   const std::optional<std::string>& input = std::nullopt) const {
    std::vector<std::string> line{"-c",
                                  "exec \"$@\" < \"$0\"",
                                  input ? (local / "input").string() : "/dev/null",
                                  LUMIVALE_CLI_BINARY,
                                  "--serial",
                                  tablet->serial(),
                                  "clipboard"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    if (input) std::ofstream(local / "input", std::ios::binary) << *input;
    return ToolRun::runIn(environment, "/bin/sh", line, Seconds(300));
  }

  // The text the tablet's clipboard holds, as the stand-in stores it.
  static std::optional<std::string> tabletText() {
    const std::string record = tablet->clipboardRecord();
    if (record.empty()) return std::nullopt;
    auto clip = nlohmann::json::parse(record);
    return clip.contains("text") ? std::optional(clip["text"].get<std::string>()) : std::nullopt;
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  fs::path local;
  Environment environment;
};

std::string exactly256KB() {
  // Two-, three- and four-byte characters, cut so that the text ends on a whole one.
  const std::string unit = "a\u00e9\u20ac\U0001F600\n";  // 1 + 2 + 3 + 4 + 1 bytes
  std::string text;
  while (text.size() + unit.size() <= 256 * 1024)
    text += unit;
  text.append(256 * 1024 - text.size(), 'z');
  return text;
}

TEST_F(ClipboardCliTest, AnEmptyClipboardPrintsNothing) {
  ASSERT_EQ(tablet->shell("rm -f /data/standin/clipboard.json").status, 0);
  auto got = lumivale({"get"});
  EXPECT_EQ(got.status, 0) << got.stderrData;
  EXPECT_EQ(got.stdoutData, "");
}

TEST_F(ClipboardCliTest, SetAndGetCarryTheTextByteForByte) {
  for (const std::string& text : {
           std::string("one line"),
           std::string("first\nsecond\r\nthird \"quoted\" \\ / \t tab\n"),
           std::string("caf\u00e9 \u6f22\u5b57 \U0001F600\U0001F44D\U0001F3FD \u200d"),
           std::string("  leading and trailing spaces  "),
       }) {
    auto set = lumivale({"set", text});
    ASSERT_EQ(set.status, 0) << set.stderrData;
    EXPECT_EQ(set.stdoutData, "");
    EXPECT_EQ(tabletText(), text);
    auto got = lumivale({"get"});
    ASSERT_EQ(got.status, 0) << got.stderrData;
    EXPECT_EQ(got.stdoutData, text);
  }
}

TEST_F(ClipboardCliTest, SetReadsStandardInputUpTo256KBExactly) {
  const std::string limit = exactly256KB();
  ASSERT_EQ(limit.size(), 256u * 1024);
  auto set = lumivale({"set"}, limit);
  ASSERT_EQ(set.status, 0) << set.stderrData;
  EXPECT_EQ(tabletText(), limit);
  auto got = lumivale({"get"});
  ASSERT_EQ(got.status, 0) << got.stderrData;
  EXPECT_TRUE(got.stdoutData == limit) << "got " << got.stdoutData.size() << " bytes";

  auto over = lumivale({"set"}, limit + "!");
  EXPECT_EQ(over.status, 1);
  EXPECT_EQ(over.stderrData, "lumivale: text is larger than 256 KB\n");
  EXPECT_EQ(tabletText(), limit);
}

TEST_F(ClipboardCliTest, ASetIsListedAsSentAndAFailedOneIsNot) {
  auto set = lumivale({"set", "listed text"});
  ASSERT_EQ(set.status, 0) << set.stderrData;
  auto rows = nlohmann::json::parse(lumivale({"history", "--json"}).stdoutData);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]["label"], "Sent to your Lumivale");
  EXPECT_EQ(rows[0]["text"], "listed text");

  // A tablet that is not there takes nothing, and the list stays as it was.
  auto refused =
      ToolRun::runIn(environment, LUMIVALE_CLI_BINARY,
                     {"--serial", "nowhere:1", "clipboard", "set", "not sent"}, Seconds(300));
  EXPECT_EQ(refused.status, 1) << refused.stderrData;
  EXPECT_EQ(nlohmann::json::parse(lumivale({"history", "--json"}).stdoutData), rows);
}

TEST_F(ClipboardCliTest, ARowCopiedAgainReachesEitherSideAndKeepsItsPlace) {
  ASSERT_EQ(lumivale({"set", "first"}).status, 0);
  ASSERT_EQ(lumivale({"set", "second"}).status, 0);
  const auto before = nlohmann::json::parse(lumivale({"history", "--json"}).stdoutData);
  ASSERT_EQ(before.size(), 2u);
  ASSERT_EQ(before[1]["text"], "first");

  auto toTablet = lumivale({"history", "copy", "2", "--to", "tablet"});
  EXPECT_EQ(toTablet.status, 0) << toTablet.stderrData;
  EXPECT_EQ(tabletText(), "first");

  environment["LUMIVALE_CLIP_PASTEBOARD"] = (local / "pasteboard.json").string();
  auto toBoth = lumivale({"history", "copy", "1", "--to", "both"});
  EXPECT_EQ(toBoth.status, 0) << toBoth.stderrData;
  EXPECT_EQ(tabletText(), "second");
  auto pasteboard = nlohmann::json::parse(std::ifstream(local / "pasteboard.json"));
  EXPECT_EQ(pasteboard["formats"]["text/plain;charset=utf-8"], "second");

  EXPECT_EQ(nlohmann::json::parse(lumivale({"history", "--json"}).stdoutData), before);
  EXPECT_EQ(lumivale({"history", "copy", "3"}).status, 2);
}

TEST_F(ClipboardCliTest, GetPrintsWhatWasCopiedOnTheTablet) {
  tablet->copyOnTablet(R"({"text":"copied on the tablet\nwith \u00e9"})");
  auto got = lumivale({"get"});
  ASSERT_EQ(got.status, 0) << got.stderrData;
  EXPECT_EQ(got.stdoutData, "copied on the tablet\nwith \u00e9");
}

TEST_F(ClipboardCliTest, APasswordOrAClipThatIsNotTextIsNotRead) {
  tablet->copyOnTablet(R"({"text":"hunter2","sensitive":true})");
  auto secret = lumivale({"get"});
  EXPECT_EQ(secret.status, 1);
  EXPECT_EQ(secret.stdoutData, "");
  EXPECT_EQ(secret.stderrData,
            "lumivale: the tablet\u2019s clipboard was not read: marked as a password\n");

  tablet->copyOnTablet(R"({"uri":"content://media/1"})");
  auto picture = lumivale({"get"});
  EXPECT_EQ(picture.status, 1);
  EXPECT_EQ(picture.stderrData,
            "lumivale: the tablet\u2019s clipboard was not read: not plain text\n");
}

TEST_F(ClipboardCliTest, AStaleHelperIsReplacedBeforeItRuns) {
  ASSERT_EQ(tablet->shell("echo stale > /data/local/tmp/lumivale-clip.dex").status, 0);
  auto set = lumivale({"set", "after the upgrade"});
  ASSERT_EQ(set.status, 0) << set.stderrData;
  EXPECT_EQ(tabletText(), "after the upgrade");
  auto hash = tablet->shell("sha256sum /data/local/tmp/lumivale-clip.dex");
  EXPECT_EQ(hash.stdoutData.substr(0, 64), clipHelperDexSha256);
}

}  // namespace
}  // namespace lumivale::testing
