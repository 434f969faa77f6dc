#include "core/files/remote_file_cache.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "core/files/files_error.h"
#include "core/files/testing/message_of.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using testing::messageOf;
using Kind = RemoteEntry::Kind;

RemoteEntry pdf(std::string name = "Book.PDF", std::int64_t size = 100) {
  return RemoteEntry{.name = name,
                     .path = "/sdcard/Books/" + name,
                     .kind = Kind::file,
                     .size = size,
                     .modified = Timestamp(std::chrono::seconds(1700000000))};
}

class RemoteFileCacheTest : public ::testing::Test {
 protected:
  RemoteFileCacheTest() {
    std::string pattern = (fs::temp_directory_path() / "lumivale-cache-XXXXXX").string();
    top = ::mkdtemp(pattern.data());
    cache = RemoteFileCache{top / "Files", std::make_shared<CacheLeases>()};
  }
  ~RemoteFileCacheTest() override { fs::remove_all(top); }

  // A key folder holding `bytes` bytes, last used `age` ago.
  std::string keyFolder(const RemoteEntry& entry, std::size_t bytes, std::chrono::seconds age) {
    fs::path copy = cache.fetch(
        "S", entry, [&](const fs::path& to) { std::ofstream(to) << std::string(bytes, 'x'); });
    fs::last_write_time(copy.parent_path(), now - age);
    return RemoteFileCache::key("S", entry);
  }

  fs::path top;
  RemoteFileCache cache;
  fs::file_time_type now = fs::file_time_type::clock::now();
};

TEST(RemoteFileCacheKeyTest, AKeyNamesOneVersionOfOneFileOnOneTablet) {
  const std::string key = RemoteFileCache::key("S", pdf());
  EXPECT_EQ(key.size(), 64u);
  EXPECT_EQ(key.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(RemoteFileCache::key("S", pdf()), key);
  EXPECT_NE(RemoteFileCache::key("T", pdf()), key);
  EXPECT_NE(RemoteFileCache::key("S", pdf("Book.PDF", 101)), key);
  RemoteEntry touched = pdf();
  touched.modified = *touched.modified + std::chrono::milliseconds(1);
  EXPECT_NE(RemoteFileCache::key("S", touched), key);
}

TEST(RemoteFileCacheKeyTest, TheCacheIsNamedByTheBundleIdentifierAsTheKeychainItemsAre) {
  const char* before = std::getenv("XDG_CACHE_HOME");
  std::string saved = before ? before : "";
  ::setenv("XDG_CACHE_HOME", "/caches", 1);
  EXPECT_EQ(RemoteFileCache::standard().root, fs::path("/caches/com.lumivale.mac/Files"));
  if (before)
    ::setenv("XDG_CACHE_HOME", saved.c_str(), 1);
  else
    ::unsetenv("XDG_CACHE_HOME");
}

TEST(RemoteFileCacheKeyTest, LocalNamesAndThumbnails) {
  EXPECT_EQ(RemoteFileCache::localName(pdf()), "payload.pdf");
  EXPECT_EQ(RemoteFileCache::localName(pdf("notes")), "payload");
  EXPECT_EQ(RemoteFileCache::localName(pdf("a.tar/../x")), "payload");
  EXPECT_TRUE(RemoteFileCache::wantsThumbnail(pdf("a.pdf", RemoteFileCache::thumbnailMaxBytes)));
  EXPECT_FALSE(
      RemoteFileCache::wantsThumbnail(pdf("a.pdf", RemoteFileCache::thumbnailMaxBytes + 1)));
  EXPECT_TRUE(RemoteFileCache::wantsThumbnail(pdf("photo.JPG")));
  EXPECT_FALSE(RemoteFileCache::wantsThumbnail(pdf("notes.txt")));
  RemoteEntry inexact = pdf("caf\xe9.pdf");
  inexact.exact = false;
  EXPECT_FALSE(RemoteFileCache::wantsThumbnail(inexact));
  RemoteEntry folder = pdf("Album.png");
  folder.kind = Kind::directory;
  EXPECT_FALSE(RemoteFileCache::wantsThumbnail(folder));
}

TEST_F(RemoteFileCacheTest, FetchPullsOnceAndThenServesTheCopy) {
  int pulls = 0;
  auto pull = [&](const fs::path& to) {
    ++pulls;
    EXPECT_EQ(to.extension(), ".partial");
    std::ofstream(to) << "pdf bytes";
  };
  const fs::path copy = cache.fetch("S", pdf(), pull);
  EXPECT_EQ(copy, cache.url("S", pdf()));
  EXPECT_EQ(copy.filename(), "payload.pdf");
  EXPECT_EQ(cache.fetch("S", pdf(), pull), copy);
  EXPECT_EQ(pulls, 1);
  EXPECT_EQ(cache.cached("S", pdf("Other.pdf")), std::nullopt);
}

TEST_F(RemoteFileCacheTest, AFailedPullLeavesNoPartialCopy) {
  EXPECT_THROW(cache.fetch("S", pdf(),
                           [](const fs::path& to) {
                             std::ofstream(to) << "half";
                             throw FilesError::refused("the tablet went away");
                           }),
               FilesError);
  EXPECT_TRUE(fs::is_empty(cache.url("S", pdf()).parent_path()));
  EXPECT_EQ(cache.cached("S", pdf()), std::nullopt);
}

TEST_F(RemoteFileCacheTest, LinksInPlaceOfCacheFoldersAreRefused) {
  const fs::path elsewhere = top / "elsewhere";
  fs::create_directories(elsewhere);
  EXPECT_EQ(messageOf([&] {
              cache.fetch("S", pdf(), [&](const fs::path&) {
                // Swap the key folder for a link while the copy runs.
                fs::path folder = cache.url("S", pdf()).parent_path();
                fs::remove_all(folder);
                fs::create_directory_symlink(elsewhere, folder);
                std::ofstream(folder / "payload.pdf.partial") << "x";
              });
            }),
            "the preview cache folder changed under the app; try again");
  fs::remove_all(cache.root);
  fs::create_directory_symlink(elsewhere, cache.root);
  EXPECT_EQ(messageOf([&] { cache.cached("S", pdf()); }),
            "the preview cache (" + cache.root.string() + ") is a link; remove it and try again");
}

TEST_F(RemoteFileCacheTest, PruneDropsTheLeastRecentlyUsedButNeverRecentOrLeasedCopies) {
  using std::chrono::hours;
  const std::string oldest = keyFolder(pdf("a.pdf"), 400, hours(30));
  const std::string leased = keyFolder(pdf("b.pdf"), 400, hours(20));
  const std::string older = keyFolder(pdf("c.pdf"), 400, hours(10));
  const std::string recent = keyFolder(pdf("d.pdf"), 400, std::chrono::minutes(1));
  fs::create_directories(cache.root / "not-a-key");
  std::ofstream(cache.root / "not-a-key" / "big") << std::string(5000, 'x');
  cache.leases->acquire(leased);

  EXPECT_EQ(cache.prune(900, RemoteFileCache::inUseWindow, now), 2);
  EXPECT_FALSE(fs::exists(cache.root / oldest));
  EXPECT_TRUE(fs::exists(cache.root / leased));
  EXPECT_FALSE(fs::exists(cache.root / older));
  EXPECT_TRUE(fs::exists(cache.root / recent));
  EXPECT_TRUE(fs::exists(cache.root / "not-a-key"));

  cache.leases->release(leased);
  EXPECT_EQ(cache.prune(0, RemoteFileCache::inUseWindow, now), 1);
  EXPECT_TRUE(fs::exists(cache.root / recent));
}

}  // namespace
}  // namespace lumivale
