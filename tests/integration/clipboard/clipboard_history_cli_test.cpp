// What reaches the tablet through `lumivale` is listed by `lumivale clipboard history`, run
// as a user would against the stand-in.
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/tool_run.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::StandinTablet;

class ClipboardHistoryCliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet.reset(); }

  void SetUp() override {
    char pattern[] = "/tmp/lumivale-cli-history-XXXXXX";
    configFolder = ::mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(configFolder); }

  ToolRun lumivale(std::vector<std::string> arguments) const {
    Environment environment = tablet->adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = configFolder.string();
    // Named as the stand-in it counts as cabled; otherwise its TCP serial is Wi-Fi.
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet->serial();
    environment["LUMIVALE_STANDIN_ONLY"] = "1";
    return ToolRun::runIn(environment, LUMIVALE_CLI, arguments, Seconds(120));
  }

  nlohmann::json rows() const {
    ToolRun listed = lumivale({"clipboard", "history", "--json"});
    EXPECT_EQ(listed.status, 0) << listed.stderrData;
    return nlohmann::json::parse(listed.stdoutData);
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  std::filesystem::path configFolder;
};

TEST_F(ClipboardHistoryCliTest, TextTypedOnTheTabletIsListedOnceAtTheTop) {
  ToolRun typed = lumivale({"type", "hello there"});
  ASSERT_EQ(typed.status, 0) << typed.stderrData;
  EXPECT_EQ(typed.stderrData, "");
  EXPECT_NE(tablet->inputLog().find("text hello%sthere\n"), std::string::npos);
  ASSERT_EQ(lumivale({"type", "second"}).status, 0);
  ASSERT_EQ(lumivale({"type", "hello there"}).status, 0);

  auto listed = rows();
  ASSERT_EQ(listed.size(), 2u);
  EXPECT_EQ(listed[0]["text"], "hello there");
  EXPECT_EQ(listed[0]["label"], "Typed on your Lumivale");
  EXPECT_EQ(listed[1]["text"], "second");

  ToolRun shown = lumivale({"clipboard", "history"});
  EXPECT_NE(shown.stdoutData.find("  1  Typed on your Lumivale   "), std::string::npos)
      << shown.stdoutData;
  EXPECT_NE(shown.stdoutData.find("hello there"), std::string::npos);
}

TEST_F(ClipboardHistoryCliTest, WhatIsNotKeptIsNotListedAndADamagedListDoesNotStopTyping) {
  ASSERT_EQ(lumivale({"clipboard", "history", "keep", "off"}).status, 0);
  ASSERT_EQ(lumivale({"type", "unkept"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(configFolder / "clipboard-history.json"));
  ASSERT_EQ(lumivale({"clipboard", "history", "keep", "on"}).status, 0);

  std::filesystem::create_directory(configFolder / "clipboard-history.json");
  ToolRun typed = lumivale({"type", "still typed"});
  EXPECT_EQ(typed.status, 0);
  EXPECT_EQ(typed.stderrData,
            "lumivale: not kept in the clipboard history: the saved clipboard list could not be "
            "read: it is not a plain file this app can read, or it is far too large\n");
  EXPECT_NE(tablet->inputLog().find("text still%styped\n"), std::string::npos);
}

TEST_F(ClipboardHistoryCliTest, TwoProgramsRecordingAtOnceLoseNothing) {
  constexpr int perProgram = 6;
  auto typeMany = [&](const std::string& prefix, std::vector<int>& statuses) {
    for (int i = 0; i < perProgram; ++i)
      statuses.push_back(lumivale({"type", prefix + std::to_string(i)}).status);
  };
  std::vector<int> first, second;
  std::thread other([&] { typeMany("left", first); });
  typeMany("right", second);
  other.join();
  for (int status : first)
    EXPECT_EQ(status, 0);
  for (int status : second)
    EXPECT_EQ(status, 0);

  std::set<std::string> texts;
  for (const auto& row : rows())
    texts.insert(row["text"].get<std::string>());
  EXPECT_EQ(texts.size(), 2u * perProgram);
}

}  // namespace
}  // namespace lumivale
