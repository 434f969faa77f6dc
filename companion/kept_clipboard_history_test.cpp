#include "companion/kept_clipboard_history.h"

#include <sys/vfs.h>

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "core/error.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale::companion {
namespace {
namespace fs = std::filesystem;

using Origin = ClipboardHistory::Origin;

std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ClipboardHistory::Time now() {
  return std::chrono::system_clock::now();
}

class KeptClipboardHistoryTest : public ::testing::Test {
 protected:
  std::size_t listed() { return std::get<ClipboardHistory>(history.load()).items().size(); }

  testing::TemporarySettingsFolder folder;
  KeptClipboardHistory history = KeptClipboardHistory::standard();
  fs::path file = folder.path() / "clipboard-history.json";
};

TEST_F(KeptClipboardHistoryTest, TurningKeepingOffDeletesTheFileAtOnceAndRecordsNothing) {
  EXPECT_TRUE(history.kept());
  ASSERT_TRUE(history.record("one", Origin::typedOnLumivale, now()));
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(listed(), 1u);

  history.setKept(false);
  EXPECT_FALSE(fs::exists(file));
  EXPECT_FALSE(AppSettingsStore::standard().load().clipboardHistoryKept);
  EXPECT_FALSE(history.record("two", Origin::fromMac, now()));
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(listed(), 0u);

  history.setKept(true);
  EXPECT_FALSE(recordClipboardCopy("three", Origin::sentToLumivale));
  EXPECT_EQ(listed(), 1u);
}

TEST_F(KeptClipboardHistoryTest, ADamagedSavedListIsLeftAloneAndSaysWhy) {
  fs::create_directories(folder.path());
  std::ofstream(file) << "{\"version\": 1, \"items\": 5}";
  auto problem = recordClipboardCopy("text", Origin::sentToLumivale);
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->description(),
            "the saved clipboard list could not be read: it has no \"items\" list");
  EXPECT_EQ(contents(file), "{\"version\": 1, \"items\": 5}");
}

TEST_F(KeptClipboardHistoryTest, AFailedSendIsTakenBackFromTheSavedList) {
  history.record("earlier", Origin::fromMac, now());
  struct Refusing : ClipHandOff {
    void hand(const std::string&) override { throw Error("the tablet refused"); }
  } tablet;
  EXPECT_THROW(sendToTablet(history, "new", now(), tablet), Error);
  auto items = std::get<ClipboardHistory>(history.load()).items();
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].text, "earlier");
}

TEST_F(KeptClipboardHistoryTest, TheSavedFileIsMarkedOutOfBackupsWhereTheFileSystemCan) {
  struct statfs facts;
  ASSERT_EQ(::statfs(fs::temp_directory_path().c_str(), &facts), 0);
  constexpr long tmpfs = 0x01021994;  // no file attributes to carry the mark
  if (facts.f_type == tmpfs) GTEST_SKIP() << "the temporary folder is on tmpfs";

  const auto& store = history.store();
  EXPECT_FALSE(store.isExcludedFromBackup());
  history.record("secret-ish", Origin::fromMac, now());
  EXPECT_TRUE(store.isExcludedFromBackup());

  // A file put there by other means carries no mark, and is not said to.
  fs::remove(file);
  std::ofstream(file) << "{\"version\": 1, \"items\": []}";
  EXPECT_FALSE(store.isExcludedFromBackup());
}

}  // namespace
}  // namespace lumivale::companion
