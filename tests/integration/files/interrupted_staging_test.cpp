// Renames and replacements stopped at random moments, by killing the program or cutting the
// tablet's connection: after the next `lumivale files cleanup` the item stands whole under
// its old or its new name. LUMIVALE_CAMPAIGN_TRIES sets the tries per case (bench/ runs 30).
#include <signal.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/files/adb_files.h"
#include "tests/integration/files/files_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using Tree = std::map<std::string, std::string>;

// Every file at or under `item`, by path relative to it, with its bytes.
Tree treeOf(const fs::path& item) {
  Tree tree;
  auto read = [](const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  if (fs::is_regular_file(fs::symlink_status(item))) return {{"", read(item)}};
  for (const auto& each : fs::recursive_directory_iterator(item)) {
    if (each.is_regular_file()) tree[each.path().lexically_relative(item).string()] = read(each);
  }
  return tree;
}

void plant(const fs::path& where, const Tree& tree) {
  for (const auto& [relative, bytes] : tree) {
    const fs::path file = relative.empty() ? where : where / relative;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
}

Tree randomFile(std::mt19937& random, std::size_t bytes) {
  std::string data(bytes, '\0');
  for (auto& c : data)
    c = static_cast<char>(random());
  return {{"", data}};
}

Tree randomFolder(std::mt19937& random, int files, const std::string& tag) {
  Tree tree;
  for (int i = 0; i < files; ++i)
    tree[fmt::format("part {}/{}-{}.txt", i % 7, tag, i)] = fmt::format("{} {}", tag, random());
  return tree;
}

int triesPerCase() {
  const char* value = std::getenv("LUMIVALE_CAMPAIGN_TRIES");
  return value && std::atoi(value) > 0 ? std::atoi(value) : 8;
}

enum class Stop { kill, drop };

struct Case {
  std::string label;
  std::string oldName;
  std::string newName;
  Tree before;                      // what stands under the old name
  std::optional<Tree> replacement;  // pushed from the computer to replace it
};

struct Counts {
  int tries = 0;
  int finished = 0;  // the command ended on its own with success
  int vanished = 0;  // nothing under either name before clean-up
  int putBack = 0;   // clean-up put an item back under a name
  int underOld = 0;  // after clean-up: the old name (or, replacing, the old copy)
  int underNew = 0;
};

class InterruptedStagingTest : public FilesCliTest {
 protected:
  fs::path camp() const { return onTablet("/sdcard/Camp"); }

  std::vector<std::string> commandFor(const Case& c) const {
    if (c.replacement)
      return {"push", (local / "new" / c.oldName).string(), "Camp", "--if-exists", "replace"};
    return {"mv", "Camp/" + c.oldName, c.newName};
  }

  void prepare(const Case& c) const {
    fs::remove_all(camp());
    fs::create_directories(camp());
    plant(camp() / c.oldName, c.before);
    if (c.replacement) {
      fs::remove_all(local / "new");
      plant(local / "new" / c.oldName, *c.replacement);
    }
  }

  // How long the command takes when nothing stops it.
  std::chrono::milliseconds calibrate(const Case& c) const {
    prepare(c);
    const auto start = std::chrono::steady_clock::now();
    auto run = lumivale(commandFor(c));
    EXPECT_EQ(run.status, 0) << run.stderrData;
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start);
  }

  void attempt(const Case& c, Stop stop, std::chrono::milliseconds after, Counts& counts) const {
    prepare(c);
    auto child = launchAlone(commandFor(c));
    // The moment of the interruption is the point of the test, not a wait for something.
    std::this_thread::sleep_for(after);
    if (stop == Stop::kill)
      ::kill(-child->pid(), SIGKILL);
    else
      tablet->dropConnections();
    const int status = child->wait();
    if (stop == Stop::drop) reconnect();
    ++counts.tries;
    if (status == 0) ++counts.finished;
    if (!fs::exists(camp() / c.oldName) && !fs::exists(camp() / c.newName)) ++counts.vanished;

    auto cleaned = lumivale({"cleanup", "Camp"});
    ASSERT_EQ(cleaned.status, 0) << cleaned.stderrData << cleaned.stdoutData;
    if (cleaned.stdoutData.starts_with("put back ") ||
        cleaned.stdoutData.find("\nput back ") != std::string::npos)
      ++counts.putBack;

    std::vector<std::string> left;
    for (const auto& item : fs::directory_iterator(camp()))
      left.push_back(item.path().filename().string());
    const std::string where = fmt::format(
        "{} stopped by {} after {} ms; clean-up said:\n{}", c.label,
        stop == Stop::kill ? "SIGKILL" : "a dropped link", after.count(), cleaned.stdoutData);
    ASSERT_EQ(left.size(), 1u) << where << "left: " << ::testing::PrintToString(left);
    const bool old = left[0] == c.oldName;
    ASSERT_TRUE(old || left[0] == c.newName) << where << "left: " << left[0];
    const Tree found = treeOf(camp() / left[0]);
    const bool whole = found == c.before || (c.replacement && found == *c.replacement);
    EXPECT_TRUE(whole) << where << "the item under '" << left[0] << "' is not whole";
    // A replacement keeps its name: which copy stands there tells old from new.
    ++(c.replacement ? (found == c.before ? counts.underOld : counts.underNew)
                     : (old ? counts.underOld : counts.underNew));
  }

  void campaign(const Case& c) {
    const auto usual = calibrate(c);
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<long> moment(0, usual.count() + usual.count() / 5);
    for (Stop stop : {Stop::kill, Stop::drop}) {
      Counts counts;
      for (int i = 0; i < triesPerCase() && !HasFatalFailure(); ++i)
        attempt(c, stop, std::chrono::milliseconds(moment(random)), counts);
      // The counts are the campaign's report; RecordProperty keeps them in the XML too.
      const std::string line = fmt::format(
          "{} stopped by {}: {} tries, {} finished, {} under neither name before clean-up, {} put "
          "back by clean-up, {} under the old name and {} under the new one after it (a run takes "
          "{} ms)",
          c.label, stop == Stop::kill ? "SIGKILL" : "a dropped link", counts.tries, counts.finished,
          counts.vanished, counts.putBack, counts.underOld, counts.underNew, usual.count());
      std::cout << line << "\n";
      RecordProperty(stop == Stop::kill ? "killed" : "dropped", line);
    }
  }
};

TEST_F(InterruptedStagingTest, ARenamedFileSurvives) {
  std::mt19937 random(7);
  campaign({"renaming a 1 MiB file", "a.bin", "b.bin", randomFile(random, 1024 * 1024), {}});
}

TEST_F(InterruptedStagingTest, ARenamedFolderSurvives) {
  std::mt19937 random(8);
  campaign(
      {"renaming a folder of 200 files", "Folder", "Renamed", randomFolder(random, 200, "f"), {}});
}

TEST_F(InterruptedStagingTest, AFolderReplacingAFolderSurvives) {
  std::mt19937 random(9);
  campaign({"a folder replacing a folder", "Set", "Set", randomFolder(random, 40, "old"),
            randomFolder(random, 40, "new")});
}

}  // namespace
}  // namespace lumivale::testing
