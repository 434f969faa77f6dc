#include "core/files/reading-folder/reading_folder_store.h"

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "core/files/reading-folder/reading_folder_error.h"
#include "core/files/reading-folder/reading_folder_lock.h"
#include "core/files/reading-folder/set_aside_journal.h"
#include "core/files/testing/message_of.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using testing::messageOf;
using testing::TemporaryFolder;

ReadingFolderManifest::CopiedFile copiedAs(const std::string& tabletPath) {
  ReadingFolderManifest::CopiedFile file;
  file.size = file.tabletSize = 3;
  file.modified = 1.5;
  file.sha256 = std::string(64, 'b');
  file.tabletPath = tabletPath;
  return file;
}

ReadingFolderManifest sampleManifest() {
  ReadingFolderManifest manifest;
  manifest.macFolder = "/home/a/Books";
  manifest.tabletFolder = "/sdcard/Documents/From Mac";
  manifest.files["caf\xe9 100%.pdf"] = {12,
                                        1700000000.25,
                                        std::string(64, 'a'),
                                        "caf_ 100%.pdf",
                                        12,
                                        1700000001.0,
                                        true,
                                        std::nullopt,
                                        42,
                                        7};
  manifest.files["plain.pdf"] = copiedAs("plain.pdf");
  manifest.folders = {"Papers"};
  manifest.macFolderID = "1:2:3.000000000";
  return manifest;
}

std::string fileText(const fs::path& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(ReadingFolderManifest, StoresItsKeysAndCarriesNamesThatAreNotUtf8) {
  const ReadingFolderManifest manifest = sampleManifest();
  const nlohmann::json json = manifest;
  EXPECT_EQ(json.at("files").begin().key(), "caf%E9 100%25.pdf");
  const nlohmann::json& copied = json.at("files").at("caf%E9 100%25.pdf");
  for (const char* key : {"size", "modified", "sha256", "tabletPath", "tabletSize",
                          "tabletModified", "keptBoth", "inode", "changed"}) {
    EXPECT_TRUE(copied.contains(key)) << key;
  }
  EXPECT_FALSE(copied.contains("removedOnTablet"));
  for (const char* key : {"macFolder", "tabletFolder", "files", "folders", "macFolderID"}) {
    EXPECT_TRUE(json.contains(key)) << key;
  }
  EXPECT_EQ(nlohmann::json::parse(json.dump()).get<ReadingFolderManifest>(), manifest);
}

TEST(ReadingFolderStore, KeepsOneFilePerTabletWithItsSerialAndPairs) {
  TemporaryFolder settings;
  ReadingFolderManifest manifest = sampleManifest();
  ReadingFolderStore::save(settings.path(), "192.168.1.20:5555", manifest);
  const fs::path file = settings.path() / "Reading folder" / "192.168.1.20%3A5555.json";
  ASSERT_TRUE(fs::exists(file));
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  const nlohmann::json json = nlohmann::json::parse(fileText(file));
  EXPECT_EQ(json.at("version"), 1);
  EXPECT_EQ(json.at("serial"), "192.168.1.20:5555");
  ASSERT_EQ(json.at("pairs").size(), 1u);

  ReadingFolderStore::File loaded = ReadingFolderStore::load(settings.path(), "192.168.1.20:5555");
  ASSERT_EQ(loaded.pairs.size(), 1u);
  EXPECT_TRUE(loaded.pairs[0].updatedAt);
  manifest.updatedAt = loaded.pairs[0].updatedAt;
  EXPECT_EQ(loaded.pairs[0], manifest);

  // The same pair is replaced, spelled either way; another tablet folder is a pair of its own.
  manifest.tabletFolder = "/storage/emulated/0/Documents/From Mac/";
  manifest.files.erase("plain.pdf");
  ReadingFolderStore::save(settings.path(), "192.168.1.20:5555", manifest);
  manifest.tabletFolder = "/sdcard/Books";
  ReadingFolderStore::save(settings.path(), "192.168.1.20:5555", manifest);
  loaded = ReadingFolderStore::load(settings.path(), "192.168.1.20:5555");
  ASSERT_EQ(loaded.pairs.size(), 2u);
  EXPECT_EQ(loaded.pairs[0].files.size(), 1u);
  EXPECT_TRUE(ReadingFolderStore::load(settings.path(), "SECOND").pairs.empty());
  EXPECT_EQ(messageOf([&] { ReadingFolderStore::load(settings.path(), ""); }),
            "could not read the tablet’s serial number, which names its record of what was "
            "copied; nothing was changed, try again");
}

TEST(ReadingFolderStore, AnotherTabletsRecordIsNotUsedNorSavedOver) {
  TemporaryFolder settings;
  ReadingFolderStore::save(settings.path(), "OTHER", sampleManifest());
  const fs::path mine = ReadingFolderStore::fileURL(settings.path(), "MINE");
  fs::copy_file(ReadingFolderStore::fileURL(settings.path(), "OTHER"), mine);
  const std::string before = fileText(mine);
  EXPECT_TRUE(ReadingFolderStore::load(settings.path(), "MINE").pairs.empty());
  EXPECT_EQ(messageOf([&] { ReadingFolderStore::save(settings.path(), "MINE", sampleManifest()); }),
            mine.string() + " holds another tablet’s record (OTHER); nothing was saved");
  EXPECT_EQ(fileText(mine), before);

  std::ofstream(mine) << "{not json";
  EXPECT_THAT(messageOf([&] { ReadingFolderStore::load(settings.path(), "MINE"); }),
              ::testing::StartsWith("the record of what was copied to this tablet (" +
                                    mine.string() + ") cannot be read ("));
}

TEST(ReadingFolderStore, AMovedFolderKeepsItsRecordAndANewOneAtTheOldPathStartsItsOwn) {
  TemporaryFolder place;
  TemporaryFolder settings;
  const fs::path books = place.path() / "Books";
  fs::create_directory(books);
  const MacRoot original = MacRoot::of(books);
  ReadingFolderStore::Found found =
      ReadingFolderStore::manifest({}, original, "/sdcard/Documents/From Mac");
  EXPECT_EQ(found.change, std::nullopt);
  EXPECT_EQ(found.manifest.macFolderID, original.id());
  found.manifest.files["a.pdf"] = copiedAs("a.pdf");
  ReadingFolderStore::save(settings.path(), "T", found.manifest);

  fs::rename(books, place.path() / "Renamed");
  const MacRoot moved = MacRoot::of(place.path() / "Renamed");
  found = ReadingFolderStore::manifest(ReadingFolderStore::load(settings.path(), "T"), moved,
                                       "/storage/emulated/0/Documents/From Mac");
  EXPECT_EQ(found.change,
            "reading folder: the Mac folder was moved or renamed; its record follows it");
  EXPECT_EQ(found.manifest.macFolder, moved.url);
  EXPECT_TRUE(found.manifest.files.contains("a.pdf"));
  ReadingFolderStore::save(settings.path(), "T", found.manifest);
  EXPECT_EQ(ReadingFolderStore::load(settings.path(), "T").pairs.size(), 1u);

  fs::create_directory(books);
  found = ReadingFolderStore::manifest(ReadingFolderStore::load(settings.path(), "T"),
                                       MacRoot::of(books), "/sdcard/Documents/From Mac");
  EXPECT_EQ(found.change, std::nullopt) << "the record moved with the first folder";
  EXPECT_TRUE(found.manifest.files.empty());

  // A record at the old path whose folder is not this one.
  ReadingFolderManifest stale = found.manifest;
  stale.macFolderID = "9:9:9";
  stale.files["old.pdf"] = copiedAs("old.pdf");
  found = ReadingFolderStore::manifest({1, "T", {stale}}, MacRoot::of(books),
                                       "/sdcard/Documents/From Mac");
  EXPECT_EQ(found.change,
            "reading folder: another folder now has this path; it starts a record of its own");
  EXPECT_TRUE(found.manifest.files.empty());
  EXPECT_EQ(found.manifest.macFolderID, MacRoot::of(books).id());
}

TEST(ReadingFolderStore, OnlyOneCopyToATabletAtATime) {
  TemporaryFolder settings;
  {
    ReadingFolderStore::Lock first(settings.path(), "T");
    EXPECT_TRUE(first.held());
    EXPECT_EQ(messageOf([&] { ReadingFolderStore::Lock second(settings.path(), "T"); }),
              "the reading folder is already being copied to this tablet (by the app or another "
              "lumivale command); try again when it is done");
    ReadingFolderStore::Lock otherTablet(settings.path(), "U");
    EXPECT_TRUE(otherTablet.held());
  }
  ReadingFolderStore::Lock again(settings.path(), "T");
  EXPECT_TRUE(again.held());
}

// A computer name need not be UTF-8: the journal keeps it byte for byte.
TEST(ReadingFolderStore, TheSetAsideJournalIsKeptBesideTheRecordUntilEmpty) {
  TemporaryFolder settings;
  ReadingFolderStore::SetAsideFile journal =
      ReadingFolderStore::SetAsideFile::load(settings.path(), "T");
  EXPECT_TRUE(journal.empty());
  journal.entries.push_back({"/sdcard/F/a.pdf", "/sdcard/F/.lumivale-partial-old-1"});
  ReadingFolderManifest::CopiedFile copied;
  copied.sha256 = std::string(64, 'c');
  copied.tabletPath = "a.pdf";
  copied.tabletModified = 4.5;
  journal.stages.push_back({"2", "caf\xe9 100%.pdf", "/sdcard/F/.lumivale-partial-2",
                            "/sdcard/F/caf_ 100%.pdf", "1:2", copied});
  journal.save(settings.path());
  const fs::path file = settings.path() / "Reading folder" / "T.set-aside.json";
  const nlohmann::json json = nlohmann::json::parse(fileText(file));
  for (const char* key : {"version", "serial", "entries", "stages"}) {
    EXPECT_TRUE(json.contains(key)) << key;
  }
  EXPECT_EQ(ReadingFolderStore::SetAsideFile::load(settings.path(), "T"), journal);
  journal.entries.clear();
  journal.stages.clear();
  journal.save(settings.path());
  EXPECT_FALSE(fs::exists(file));
}

}  // namespace
}  // namespace lumivale
