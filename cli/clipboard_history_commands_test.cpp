// `lumivale clipboard history` and its commands, run as typed; none of them needs a tablet.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/tool_run.h"

namespace lumivale {
namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

class ClipboardHistoryCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-cli-history-XXXXXX";
    configFolder = ::mkdtemp(pattern);
    historyFile = configFolder / "clipboard-history.json";
  }
  void TearDown() override { fs::remove_all(configFolder); }

  ToolRun lumivale(std::vector<std::string> arguments) const {
    Environment environment{{"PATH", "/usr/bin:/bin"},
                            {"HOME", configFolder.string()},
                            {"TZ", "UTC"},
                            {"LUMIVALE_CONFIG_DIR", configFolder.string()}};
    return ToolRun::runIn(environment, LUMIVALE_CLI, arguments, Seconds(60));
  }

  // A list as an earlier run saved it: newest first.
  void seed() const {
    std::ofstream(historyFile) << R"({"version": 1, "items": [
      {"id": "C", "text": "third\nline", "origin": "typedOnLumivale", "at": "2026-05-03T10:00:00.000Z"},
      {"id": "B", "text": "naïve", "origin": "fromLumivale", "at": "2026-05-02T10:00:00.000Z"},
      {"id": "A", "text": "first", "origin": "fromMac", "at": "2026-05-01T10:00:00.000Z"}]})";
  }

  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> split;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
      split.push_back(line);
    return split;
  }

  std::string saved() const {
    std::ifstream in(historyFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  fs::path configFolder;
  fs::path historyFile;
};

TEST_F(ClipboardHistoryCommandsTest, TheListShowsNumberedRowsNewestFirst) {
  EXPECT_EQ(lumivale({"clipboard", "history"}).stdoutData, "The clipboard history is empty.\n");
  seed();
  // Sizes line up whatever the preview's characters take in bytes.
  const std::vector<std::string> shown{
      "  1  Typed on your Lumivale   2026-05-03 10:00  third line" + std::string(32, ' ') +
          "10 characters",
      "  2  Copied on your Lumivale  2026-05-02 10:00  naïve" + std::string(37, ' ') +
          "5 characters",
      "  3  Copied on your Mac       2026-05-01 10:00  first" + std::string(37, ' ') +
          "5 characters"};
  EXPECT_EQ(lines(lumivale({"clipboard", "history"}).stdoutData), shown);

  auto rows = nlohmann::json::parse(lumivale({"clipboard", "history", "--json"}).stdoutData);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0]["number"], 1);
  EXPECT_EQ(rows[0]["origin"], "typedOnLumivale");
  EXPECT_EQ(rows[0]["label"], "Typed on your Lumivale");
  EXPECT_EQ(rows[0]["at"], "2026-05-03T10:00:00.000Z");
  EXPECT_EQ(rows[0]["text"], "third\nline");
  EXPECT_EQ(rows[0]["preview"], "third line");
  EXPECT_EQ(rows[1]["characters"], 5);
}

TEST_F(ClipboardHistoryCommandsTest, ARowIsRemovedByItsNumberAndClearDeletesTheFile) {
  seed();
  EXPECT_EQ(lumivale({"clipboard", "history", "remove", "2"}).status, 0);
  auto rows = nlohmann::json::parse(lumivale({"clipboard", "history", "--json"}).stdoutData);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1]["text"], "first");

  ToolRun beyond = lumivale({"clipboard", "history", "remove", "3"});
  EXPECT_EQ(beyond.status, 2);
  EXPECT_EQ(beyond.stderrData, "lumivale: the clipboard history has no row 3 (it has 2)\n");
  EXPECT_EQ(lumivale({"clipboard", "history", "remove", "0"}).status, 2);

  EXPECT_EQ(lumivale({"clipboard", "history", "clear"}).status, 0);
  EXPECT_FALSE(fs::exists(historyFile));
}

TEST_F(ClipboardHistoryCommandsTest, ADamagedListIsSaidAndLeftUntilCleared) {
  std::ofstream(historyFile) << "{\"version\": 1, \"items\": [";
  ToolRun listed = lumivale({"clipboard", "history"});
  EXPECT_EQ(listed.status, 1);
  EXPECT_THAT(listed.stderrData,
              ::testing::StartsWith("lumivale: the saved clipboard list could not be read: "));
  EXPECT_EQ(lumivale({"clipboard", "history", "remove", "1"}).status, 1);
  EXPECT_EQ(saved(), "{\"version\": 1, \"items\": [");

  EXPECT_EQ(lumivale({"clipboard", "history", "clear"}).status, 0);
  EXPECT_FALSE(fs::exists(historyFile));

  fs::create_directory(historyFile);
  EXPECT_EQ(lumivale({"clipboard", "history"}).stderrData,
            "lumivale: the saved clipboard list could not be read: it is not a plain file this "
            "app can read, or it is far too large\n");
}

TEST_F(ClipboardHistoryCommandsTest, KeepingOffDeletesTheFileAtOnce) {
  seed();
  EXPECT_EQ(lumivale({"clipboard", "history", "keep", "off"}).status, 0);
  EXPECT_FALSE(fs::exists(historyFile));
  EXPECT_THAT(lumivale({"clipboard", "history"}).stdoutData, HasSubstr("is not kept"));
  EXPECT_EQ(lumivale({"clipboard", "history", "keep", "maybe"}).status, 2);
  EXPECT_EQ(lumivale({"clipboard", "history", "keep", "on"}).status, 0);
  EXPECT_EQ(lumivale({"clipboard", "history"}).stdoutData, "The clipboard history is empty.\n");
}

}  // namespace
}  // namespace lumivale
