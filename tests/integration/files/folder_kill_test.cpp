// `lumivale folder sync` stopped at any moment, SIGKILL included: the next run finishes the
// work, no visible file is ever half-written and nothing finished is sent again.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>

#include "tests/integration/eventually.h"
#include "tests/integration/files/folder_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;

// What one killed run left and what the next one did.
struct Outcome {
  bool killed = false;  // false: the run had ended before the kill
  int finished = 0;     // copies whole under their names when the run was killed
  int sentAgain = 0;    // copies the next run sent, unfinished at the kill
};

class FolderKillTest : public FolderCliTest {
 protected:
  void SetUp() override {
    FolderCliTest::SetUp();
    // The adb the program finds notes the sources of every push.
    pushes = local / "pushes";
    wrapAdb("if [ \"$3\" = push ]; then printf '%s\\n' \"$@\" >>'" + pushes.string() + "'; fi");
  }

  // The computer files whose pushes were noted, each as often as it was sent.
  std::map<std::string, int> sent() const {
    std::map<std::string, int> count;
    std::ifstream in(pushes);
    for (std::string line; std::getline(in, line);) {
      if (line.starts_with(mac.string() + "/")) ++count[line.substr(mac.string().size() + 1)];
    }
    return count;
  }

  // The computer file a tablet copy of carriedOnce comes from.
  static std::string macOf(const std::string& copy) {
    return copy == "both (from Mac).pdf" ? "both.pdf" : copy;
  }

  // carriedOnce's run, killed with its adb runs once `until` returns; then the next run.
  Outcome killAndFinish(const std::function<void(Spawn::Child&)>& until) {
    carriedOnce();
    const Files before = tabletFiles();
    const Files after = afterTheChanges();
    fs::remove(pushes);
    auto child = syncAlone();
    until(*child);
    Outcome outcome;
    outcome.killed = child->signalIfRunning(0) && ::kill(-child->pid(), SIGKILL) == 0;
    child->wait();
    // At the kill, every visible file holds whole bytes: its old or its new version.
    const Files killed = tabletFiles();
    std::set<std::string> finished;
    for (const auto& [path, bytes] : killed) {
      const bool old = before.contains(path) && before.at(path) == bytes;
      const bool now = after.contains(path) && after.at(path) == bytes;
      EXPECT_TRUE(old || now) << path << " holds " << bytes;
      if (now && !old) finished.insert(macOf(path));
    }
    outcome.finished = static_cast<int>(finished.size());

    fs::remove(pushes);
    const nlohmann::json second = json({"sync", "--json"});
    EXPECT_EQ(second["failures"], nlohmann::json::array());
    for (const auto& [file, times] : sent()) {
      EXPECT_FALSE(finished.contains(file)) << file << " was sent again once in place";
      EXPECT_EQ(times, 1) << file;
      ++outcome.sentAgain;
    }
    std::vector<std::string> hidden;
    EXPECT_EQ(tabletFiles(&hidden), after);
    EXPECT_THAT(hidden, IsEmpty());
    EXPECT_EQ(json({"plan", "--json"})["actions"], nlohmann::json::array());
    return outcome;
  }

  fs::path pushes;
};

TEST_F(FolderKillTest, ARunKilledAtChosenMomentsIsFinishedByTheNext) {
  // Each moment: a sign the run has come that far.
  const std::vector<std::pair<std::string, std::function<bool()>>> moments{
      {"copies are sent", [&] { return fs::exists(pushes); }},
      {"a removal is done", [&] { return !fs::exists(tabletFolder() / "d0.pdf"); }},
      {"new copies are in place", [&] { return fs::exists(tabletFolder() / "n00.pdf"); }},
      {"a replacement is in place",
       [&] {
         std::ifstream in(tabletFolder() / "r05.pdf");
         std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
         return text.starts_with("version 2");
       }},
  };
  for (const auto& [moment, reached] : moments) {
    SCOPED_TRACE(moment);
    const Outcome outcome = killAndFinish([&](Spawn::Child& child) {
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
      while (!reached() && !child.endsBy(std::chrono::steady_clock::now())) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    });
    EXPECT_TRUE(outcome.killed) << "the run ended before it was killed";
  }
}

// How many random kills a test makes: LUMIVALE_KILL_TRIES, 6 unless said.
int killTries() {
  const char* asked = std::getenv("LUMIVALE_KILL_TRIES");
  return asked != nullptr ? std::atoi(asked) : 6;
}

// Moments spread at random over `span`, the time a whole run takes.
std::vector<std::chrono::microseconds> randomMoments(std::chrono::steady_clock::duration span,
                                                     int count) {
  const unsigned seed = std::random_device()();
  std::cout << "kill moments from seed " << seed << "\n";
  std::mt19937 random(seed);
  std::uniform_int_distribution<std::int64_t> moment(
      0, std::chrono::duration_cast<std::chrono::microseconds>(span).count());
  std::vector<std::chrono::microseconds> moments;
  for (int i = 0; i < count; ++i)
    moments.emplace_back(moment(random));
  return moments;
}

// SIGKILL at random moments of the run, the figures printed at the end.
TEST_F(FolderKillTest, ARunKilledAtRandomMomentsIsFinishedByTheNext) {
  const int tries = killTries();
  // How long a whole run takes here, to spread the kills over.
  carriedOnce();
  const auto start = std::chrono::steady_clock::now();
  auto whole = syncAlone();
  ASSERT_EQ(whole->wait(), 0);
  const auto span = std::chrono::steady_clock::now() - start;

  int killed = 0;
  int finished = 0;
  int sentAgain = 0;
  int attempt = 0;
  for (const auto at : randomMoments(span, tries)) {
    SCOPED_TRACE(::testing::Message() << "kill " << ++attempt);
    const Outcome outcome = killAndFinish(
        [&](Spawn::Child& child) { child.endsBy(std::chrono::steady_clock::now() + at); });
    killed += outcome.killed ? 1 : 0;
    finished += outcome.finished;
    sentAgain += outcome.sentAgain;
  }
  std::cout << fmt::format(
      "{} kills ({} landed in the run, a whole run taking {} ms): {} copies were in place at "
      "the kill and none was sent again; the next runs sent {} unfinished ones once each\n",
      tries, killed, std::chrono::duration_cast<std::chrono::milliseconds>(span).count(), finished,
      sentAgain);
}

// A folder not on the tablet yet arrives whole, by one rename: killed at any moment, the
// tablet has none of it or all of it, and the next run finishes it without leftovers.
TEST_F(FolderKillTest, AFirstCopyKilledAtRandomMomentsLeavesAllOrNothing) {
  Files expected;
  for (int i = 0; i < 200; ++i) {
    const std::string name = fmt::format("f{:03}.pdf", i);
    expected[name] = fmt::format("file {} {}", i, std::string(64 * 1024, 'x'));
    onMac(name, expected[name]);
  }
  choose();
  const auto fresh = [&] {
    fs::remove_all(tabletFolder());
    fs::remove_all(local / "config" / "Reading folder");
    fs::remove(pushes);
  };
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(syncAlone()->wait(), 0);
  const auto span = std::chrono::steady_clock::now() - start;

  int landed = 0;
  int whole = 0;
  int attempt = 0;
  for (const auto at : randomMoments(span, killTries())) {
    SCOPED_TRACE(::testing::Message() << "kill " << ++attempt);
    fresh();
    auto child = syncAlone();
    child->endsBy(std::chrono::steady_clock::now() + at);
    landed += child->signalIfRunning(0) && ::kill(-child->pid(), SIGKILL) == 0 ? 1 : 0;
    child->wait();
    const Files killed = tabletFiles();
    EXPECT_TRUE(killed.empty() || killed == expected) << killed.size() << " files";
    whole += killed == expected ? 1 : 0;

    fs::remove(pushes);
    EXPECT_EQ(sync()["failures"], nlohmann::json::array());
    if (killed == expected) {
      EXPECT_THAT(sent(), IsEmpty()) << "sent again once in place";
    }
    std::vector<std::string> hidden;
    EXPECT_EQ(tabletFiles(&hidden), expected);
    EXPECT_THAT(hidden, IsEmpty());
    for (const auto& beside : fs::directory_iterator(tabletFolder().parent_path()))
      EXPECT_FALSE(beside.path().filename().string().starts_with(".lumivale-")) << beside.path();
  }
  std::cout << fmt::format(
      "{} kills ({} landed in the run, a whole run taking {} ms): {} found the folder whole, the "
      "others none of it\n",
      attempt, landed, std::chrono::duration_cast<std::chrono::milliseconds>(span).count(), whole);
}

}  // namespace
}  // namespace lumivale::testing
