#include "core/clipboard/clipboard_history_store.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {
namespace fs = std::filesystem;

using Origin = ClipboardHistory::Origin;
using Store = ClipboardHistoryStore;

const std::string unreadable =
    "the saved clipboard list could not be read: it is not a plain file this app can read, or "
    "it is far too large";

ClipboardHistory::Time at(int second) {
  return ClipboardHistory::Time(std::chrono::seconds(1'700'000'000 + second) +
                                std::chrono::milliseconds(250));
}

std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write(const fs::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
}

std::vector<fs::path> temporaries(const fs::path& folder) {
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(folder))
    if (Store::isTemporaryName(entry.path().filename().string())) found.push_back(entry.path());
  return found;
}

class ClipboardHistoryStoreTest : public ::testing::Test {
 protected:
  ClipboardHistory history() {
    ClipboardHistory list;
    list.record("first", Origin::fromMac, at(1));
    list.record("second\nline", Origin::typedOnLumivale, at(2));
    list.record("third", Origin::sentToLumivale, at(3));
    return list;
  }
  // What load gives when it gives a problem, or "" for a list.
  std::string problem() {
    auto loaded = store.load();
    if (!loaded) return "no file";
    auto* found = std::get_if<Store::LoadProblem>(&*loaded);
    return found ? found->description() : "";
  }

  testing::TemporaryFolder root;
  fs::path folder = root.path() / "settings";
  fs::path file = folder / Store::fileName;
  Store store{file};
};

TEST_F(ClipboardHistoryStoreTest, ASavedListComesBackAsItWasReadableOnlyByTheUser) {
  EXPECT_FALSE(store.load());
  EXPECT_FALSE(store.exists());
  const ClipboardHistory saved = history();
  store.save(saved);
  auto loaded = store.load();
  ASSERT_TRUE(loaded);
  EXPECT_EQ(std::get<ClipboardHistory>(*loaded), saved);

  struct stat facts;
  ASSERT_EQ(::stat(file.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);
  auto json = nlohmann::json::parse(contents(file));
  EXPECT_EQ(json["version"], 1);
  EXPECT_EQ(json["items"][0]["origin"], "sentToLumivale");
  EXPECT_EQ(json["items"][0]["at"], "2023-11-14T22:13:23.250Z");
  EXPECT_EQ(json["items"][0]["id"], saved.items()[0].id);
  EXPECT_EQ(json["items"][2]["text"], "first");

  // A list saved under larger limits comes back cut to the current ones.
  auto cut = store.load(2);
  ASSERT_TRUE(cut);
  EXPECT_EQ(std::get<ClipboardHistory>(*cut).items().size(), 2u);
  EXPECT_EQ(std::get<ClipboardHistory>(*cut).items().back().text, "second\nline");

  store.deleteFile();
  EXPECT_FALSE(store.exists());
  EXPECT_NO_THROW(store.deleteFile());
}

TEST_F(ClipboardHistoryStoreTest, AFileLargerThan16MBIsRefusedAndOneOfExactly16MBIsRead) {
  fs::create_directories(folder);
  // A list whose one text is too large to keep, padded to exactly the largest file read.
  std::string text(Store::maxFileBytes - 200, 'x');
  std::string document = R"({"version":1,"items":[{"id":"A","origin":"fromMac","at":)"
                         R"("2026-01-01T00:00:00.000Z","text":")" +
                         text + "\"}]}";
  document += std::string(Store::maxFileBytes - document.size(), ' ');
  write(file, document);
  EXPECT_EQ(problem(), "");
  write(file, document + " ");
  EXPECT_EQ(problem(), unreadable);
}

TEST_F(ClipboardHistoryStoreTest, AFolderOrALinkInItsPlaceIsRefusedAndLeftAlone) {
  fs::create_directories(file);
  EXPECT_EQ(problem(), unreadable);
  EXPECT_TRUE(store.exists());
  EXPECT_FALSE(store.isExcludedFromBackup());
  fs::remove(file);

  Store elsewhere(root.path() / "real.json");
  elsewhere.save(history());
  fs::create_symlink(root.path() / "real.json", file);
  EXPECT_EQ(problem(), unreadable);
  EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(ClipboardHistoryStoreTest, AFileThatDoesNotDecodeIsShownAndKeptForTheUser) {
  fs::create_directories(folder);
  for (const std::string& bad :
       {std::string("{\"version\": 1, \"items\": [}"), std::string("[]"),
        std::string("{\"version\": 1, \"items\": [{\"text\": \"my secret\n"),
        std::string(R"({"version":1,"items":[{"id":"A","text":"t","origin":"fromPC","at":"x"}]})"),
        std::string(R"({"version":1,"items":[{"id":"A","text":"t","origin":"fromMac",)"
                    R"("at":"2026-02-30T00:00:00Z"}]})")}) {
    write(file, bad);
    std::string shown = problem();
    EXPECT_TRUE(shown.starts_with("the saved clipboard list could not be read: ")) << shown;
    EXPECT_EQ(shown.find("json.exception"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("secret"), std::string::npos) << shown;  // no copied text in it

    bool applied = false;
    auto updated = store.update([&](ClipboardHistory&) { return applied = true; });
    EXPECT_TRUE(std::holds_alternative<Store::LoadProblem>(updated));
    EXPECT_FALSE(applied);
    EXPECT_EQ(contents(file), bad);
  }
}

TEST_F(ClipboardHistoryStoreTest, AnInterruptedSaveLeavesTheOldFileAndItsLeftoverIsSweptNextTime) {
  store.save(history());
  const std::string before = contents(file);

  // A save whose program dies once the temporary file is written, before the move.
  Store dying(file, {[](const fs::path&) { ::_exit(0); }, {}});
  ClipboardHistory longer = history();
  longer.record("fourth", Origin::fromLumivale, at(4));
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dying.save(longer);
    ::_exit(1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  EXPECT_EQ(contents(file), before);
  auto leftovers = temporaries(folder);
  ASSERT_EQ(leftovers.size(), 1u);
  EXPECT_NE(contents(leftovers[0]).find("fourth"), std::string::npos);

  store.save(longer);
  EXPECT_TRUE(temporaries(folder).empty());
  EXPECT_EQ(std::get<ClipboardHistory>(*store.load()).items().size(), 4u);
}

TEST_F(ClipboardHistoryStoreTest, TemporaryNamesAreOnlyThoseOfThisFile) {
  EXPECT_TRUE(Store::isTemporaryName(".clipboard-history.json.a8Xk2q.tmp"));
  EXPECT_FALSE(Store::isTemporaryName(".clipboard-history.json..tmp"));
  EXPECT_FALSE(Store::isTemporaryName("clipboard-history.json.a8Xk2q.tmp"));
  EXPECT_FALSE(Store::isTemporaryName(".clipboard-history.json.a8Xk2q"));
  EXPECT_FALSE(Store::isTemporaryName(".config.json.a8Xk2q.tmp"));

  fs::create_directories(folder);
  write(folder / ".clipboard-history.json.abc.tmp", "x");
  write(folder / "config.json", "{}");
  store.sweepTemporaryFiles();
  EXPECT_TRUE(temporaries(folder).empty());
  EXPECT_TRUE(fs::exists(folder / "config.json"));
}

// Runs in a forked child: no assertions, only an exit status.
int recordMany(const Store& store, int process) {
  try {
    for (int i = 0; i < 40; ++i)
      store.update([&](ClipboardHistory& list) {
        return list.record(std::to_string(process) + "-" + std::to_string(i), Origin::fromMac,
                           at(i));
      });
    return 0;
  } catch (...) {
    return 1;
  }
}

TEST_F(ClipboardHistoryStoreTest, ProgramsRecordingAtOnceLoseNothing) {
  std::vector<pid_t> children;
  for (int process = 0; process < 4; ++process) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) ::_exit(recordMany(store, process));
    children.push_back(pid);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(std::get<ClipboardHistory>(*store.load()).items().size(), 160u);
  EXPECT_TRUE(temporaries(folder).empty());
}

}  // namespace
}  // namespace lumivale
