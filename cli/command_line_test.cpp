// The command line as a newcomer types it, through the real `lumivale`; none of these
// reach a tablet.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/tablet/tool_run.h"

namespace lumivale {
namespace {

using ::testing::HasSubstr;

class CommandLineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumivale-cli-usage-XXXXXX";
    configFolder = ::mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(configFolder); }

  ToolRun lumivale(std::vector<std::string> arguments) const {
    Environment environment{{"PATH", "/usr/bin:/bin"},
                            {"HOME", configFolder.string()},
                            {"LUMIVALE_CONFIG_DIR", configFolder.string()}};
    return ToolRun::runIn(environment, LUMIVALE_CLI, arguments, Seconds(60));
  }

  // The commands under `path` ("" for the top) as `help` lists them.
  std::vector<std::string> subcommands(const std::string& path) const {
    std::vector<std::string> arguments{"help"};
    std::istringstream words(path);
    for (std::string word; words >> word;)
      arguments.push_back(word);
    std::istringstream help(lumivale(arguments).stdoutData);
    std::vector<std::string> names;
    bool inList = false;
    for (std::string line; std::getline(help, line);) {
      if (line.empty() || line[0] != ' ')
        inList = line == "Subcommands:";
      else if (inList)
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return names;
  }

  std::filesystem::path configFolder;
};

TEST_F(CommandLineTest, AMistypedWordIsNamedWithTheNearestOne) {
  const std::map<std::vector<std::string>, std::string> typos{
      {{"devcies"}, "lumivale: 'devcies' is not a command of lumivale. Did you mean devices?\n"},
      {{"files", "lss"}, "lumivale: 'lss' is not a command of lumivale files. Did you mean ls?\n"},
      {{"files", "push", "a.pdf", "--if-exist", "replace"},
       "lumivale: '--if-exist' is not an option of lumivale files push. Did you mean "
       "--if-exists?\n"},
      {{"help", "fils"}, "lumivale: 'fils' is not a command of lumivale. Did you mean files?\n"},
  };
  for (const auto& [arguments, said] : typos) {
    ToolRun run = lumivale(arguments);
    EXPECT_EQ(run.status, 2) << arguments[0];
    EXPECT_EQ(run.stderrData, said);
    EXPECT_EQ(run.stdoutData, "");
  }
  ToolRun stranger = lumivale({"reboot"});
  EXPECT_THAT(stranger.stderrData, HasSubstr("Its commands: devices, use, status"));
}

TEST_F(CommandLineTest, AGroupRunBareListsItsCommands) {
  ToolRun bare = lumivale({"setting"});
  EXPECT_EQ(bare.status, 2);
  EXPECT_EQ(bare.stderrData,
            "lumivale: lumivale setting needs a command: list, get, set, reset, choices.\n");
  ToolRun missing = lumivale({"files", "hash"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.stderrData, HasSubstr("lumivale: PATH is required"));
}

TEST_F(CommandLineTest, HelpAndVersionWorkAsPeopleTypeThem) {
  ToolRun help = lumivale({"help", "files", "push"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.stdoutData, HasSubstr("--if-exists"));
  EXPECT_THAT(help.stdoutData, HasSubstr("--serial"));  // every command shows it
  EXPECT_THAT(help.stdoutData, HasSubstr("--quiet"));
  ToolRun version = lumivale({"version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.stdoutData, lumivale({"--version"}).stdoutData);
  EXPECT_THAT(version.stdoutData, ::testing::StartsWith("lumivale "));
}

TEST_F(CommandLineTest, AValueTypedThatIsNotTakenIsAUsageErrorBeforeAnyTabletIsSought) {
  ToolRun open = lumivale({"open", "notaurl"});
  EXPECT_EQ(open.status, 2);
  EXPECT_EQ(open.stderrData,
            "lumivale: 'notaurl' is not a web address (give one that starts with http:// or "
            "https://)\n");
  EXPECT_EQ(lumivale({"open", "ftp://example.com/x"}).status, 2);
  ToolRun warmth = lumivale({"warmth", "300", "--serial", "ANY"});
  EXPECT_EQ(warmth.status, 2);
  EXPECT_THAT(warmth.stderrData, HasSubstr("300 is outside 0-255"));
  EXPECT_EQ(lumivale({"setting", "set", "screen_off_timeout", "7 min"}).status, 2);
  EXPECT_EQ(lumivale({"config", "set", "adbEnabled", "yes"}).status, 2);
}

// Each README line "    lumivale COMMAND [SUBCOMMAND] ... --option ..." against `help`.
TEST_F(CommandLineTest, TheReadmeListsEveryCommandWithTheOptionsItsHelpShows) {
  std::ifstream readme(README);
  const std::regex commandLine(R"(^    lumivale ([a-z]+)(?: ([a-z-]+))?(.*)$)");
  const std::set<std::string> groups{"setting", "files", "account", "config", "tools", "wifi"};
  const std::set<std::string> groupsThatRunAlone{"tools"};  // `lumivale tools` works too
  std::map<std::string, std::string> listed;                // command path -> the rest of its line
  for (std::string line; std::getline(readme, line);) {
    std::smatch parts;
    if (!std::regex_match(line, parts, commandLine)) continue;
    const bool grouped = groups.contains(parts[1]) && parts[2].length() > 0;
    listed[grouped ? parts[1].str() + " " + parts[2].str() : parts[1].str()] =
        grouped ? parts[3].str() : parts[2].str() + parts[3].str();
  }
  std::set<std::string> helped;
  for (const auto& top : subcommands("")) {
    auto children = subcommands(top);
    EXPECT_EQ(groups.contains(top), !children.empty()) << top;
    if (children.empty() || groupsThatRunAlone.contains(top)) helped.insert(top);
    for (const auto& child : children)
      helped.insert(top + " " + child);
  }
  std::set<std::string> inReadme;
  for (const auto& [path, rest] : listed)
    inReadme.insert(path);
  EXPECT_EQ(inReadme, helped);

  // Every option a command's help shows is on its README line by one of its names, and
  // every option written there is one the command takes.
  const std::regex optionName(R"((^|[ ,\[])(--?[a-z][a-z-]*))");
  const std::set<std::string> everywhere{"-h",      "--help", "--serial", "-q",
                                         "--quiet", "-v",     "--verbose"};
  auto namesIn = [&](const std::string& text) {
    std::set<std::string> names;
    for (std::sregex_iterator it(text.begin(), text.end(), optionName), end; it != end; ++it)
      if (!everywhere.contains((*it)[2].str())) names.insert((*it)[2].str());
    return names;
  };
  for (const auto& [path, rest] : listed) {
    if (!helped.contains(path)) continue;
    std::vector<std::string> arguments{"help"};
    std::istringstream words(path);
    for (std::string word; words >> word;)
      arguments.push_back(word);
    const std::set<std::string> written = namesIn(rest);
    std::set<std::string> taken;
    std::istringstream help(lumivale(arguments).stdoutData);
    for (std::string line; std::getline(help, line);) {
      if (!line.starts_with("  -")) continue;
      const std::set<std::string> names = namesIn(line.substr(0, line.find("  ", 2)));
      if (names.empty()) continue;
      taken.insert(names.begin(), names.end());
      EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                              [&](const std::string& name) { return written.contains(name); }))
          << "lumivale " << path << ": " << *names.begin() << " is not in the README";
    }
    for (const auto& name : written)
      EXPECT_TRUE(taken.contains(name)) << "lumivale " << path << " does not take " << name;
  }
}

}  // namespace
}  // namespace lumivale
