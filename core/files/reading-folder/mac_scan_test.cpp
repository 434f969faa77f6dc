#include "core/files/reading-folder/mac_scan.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "core/crypto_library.h"
#include "core/files/reading-folder/testing/open_trap.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::Pair;
using testing::TemporaryFolder;

void write(const fs::path& file, const std::string& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
}

// Writes each (path, content) below `root`.
void fill(const fs::path& root, const std::vector<std::pair<std::string, std::string>>& files) {
  for (const auto& [path, content] : files)
    write(root / path, content);
}

std::vector<std::string> pathsOf(const MacScan& scan) {
  std::vector<std::string> paths;
  for (const MacFile& file : scan.files)
    paths.push_back(file.path);
  return paths;
}

MacScan::Options toTablet() {
  return {"/sdcard/Documents/From Mac", ReadingFolder::Limits::standard, nullptr};
}

// What a copy of the scanned files would have recorded.
ReadingFolderManifest recordOf(const MacScan& scan) {
  ReadingFolderManifest record;
  for (const MacFile& file : scan.files) {
    record.files[file.path] = {file.size,    file.modified, file.sha256.value_or(""),
                               file.path,    file.size,     std::nullopt,
                               std::nullopt, std::nullopt,  file.inode,
                               file.changed};
  }
  return record;
}

TEST(MacScan, LeavesOutHiddenAndUnfinishedItemsSilentlyAndNotesLinksAndPackages) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  fill(root, {{"a.pdf", "pdf"},
              {"sub/b.txt", "text"},
              {".DS_Store", "x"},
              {"Icon\r", ""},
              {".git/config", "x"},
              {"film.crdownload", "x"},
              {"sub/page.part", "x"},
              {"Talk.key/Index.zip", "x"}});
  fs::create_symlink(root / "a.pdf", root / "alias.pdf");
  fs::create_directory_symlink(root / "sub", root / "sub-link");
  ::mkfifo((root / "pipe").c_str(), 0600);

  const MacScan scan = MacScan::read(root, toTablet());
  EXPECT_THAT(pathsOf(scan), ElementsAre("a.pdf", "sub/b.txt"));
  EXPECT_THAT(scan.folders, ElementsAre("sub"));
  EXPECT_EQ(scan.ignored, 6);
  EXPECT_THAT(scan.skipped,
              ElementsAre(ReadingFolderNote{"alias.pdf", std::string(NoteText::link)},
                          ReadingFolderNote{"sub-link", std::string(NoteText::link)},
                          ReadingFolderNote{"Talk.key", std::string(NoteText::package)}));
  EXPECT_TRUE(scan.complete);
  EXPECT_EQ(scan.files[0].sha256, sha256Hex("pdf"));
  EXPECT_FALSE(scan.files[0].fromRecord);
  ASSERT_TRUE(scan.root);
  EXPECT_EQ(scan.root->url, root.string());
}

TEST(MacScan, MakesNamesSafeAndKeepsOneOfNamesTheTabletCannotTellApart) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  fill(root, {{"Notes?.pdf", "1"},
              {"a.pdf", "2"},
              {"A.pdf", "3"},
              {"x:y.txt", "4"},
              {"x_y.txt", "5"},
              {"Dir/one", "6"},
              {"dir/two", "7"},
              {"caf\xe9.txt", "8"},  // Latin-1, not UTF-8
              {"tab\there", "9"}});

  MacScan scan = MacScan::read(root, toTablet());
  EXPECT_THAT(pathsOf(scan),
              ElementsAre("A.pdf", "caf\xe9.txt", "Dir/one", "Notes?.pdf", "tab\there", "x:y.txt"));
  EXPECT_THAT(scan.localPaths,
              ElementsAre(Pair("A.pdf", "A.pdf"), Pair("Dir", "Dir"), Pair("Dir/one", "Dir/one"),
                          Pair("Notes_.pdf", "Notes?.pdf"), Pair("caf_.txt", "caf\xe9.txt"),
                          Pair("tab_here", "tab\there"), Pair("x_y.txt", "x:y.txt")));
  EXPECT_THAT(scan.skipped,
              ElementsAre(ReadingFolderNote{"a.pdf", std::string(NoteText::sameFileName)},
                          ReadingFolderNote{"dir", std::string(NoteText::sameFolderName)},
                          ReadingFolderNote{"x_y.txt", std::string(NoteText::sameFileName)}));

  // The one copied before keeps its place, whatever the byte order says.
  ReadingFolderManifest record;
  record.files["a.pdf"] = {};
  record.folders = {"dir"};
  MacScan::Options options = toTablet();
  options.record = &record;
  scan = MacScan::read(root, options);
  EXPECT_THAT(scan.skipped,
              ElementsAre(ReadingFolderNote{"A.pdf", std::string(NoteText::sameFileName)},
                          ReadingFolderNote{"Dir", std::string(NoteText::sameFolderName)},
                          ReadingFolderNote{"x_y.txt", std::string(NoteText::sameFileName)}));
}

TEST(MacScan, NotesNamesAndPathsTooLongForTheTablet) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  const std::string longest(251, 'n');
  write(root / (longest + ".pdf"), "fits");
  write(root / "deep" / (std::string(200, 'd') + "/" + std::string(100, 'f')), "x");
  // 255 bytes on the computer, and each "?" stays one byte: it fits. (Names of more than 255
  // bytes come only from file systems that count characters, as the Mac's does.)
  write(root / (std::string(250, 'q') + "?.pdf"), "fits too");
  MacScan::Options options = toTablet();
  options.tabletFolder = "/sdcard/" + std::string(3800, 't');
  const MacScan scan = MacScan::read(root, options);
  EXPECT_THAT(scan.skipped, ::testing::Contains(ReadingFolderNote{
                                "deep/" + std::string(200, 'd') + "/" + std::string(100, 'f'),
                                std::string(NoteText::pathTooLong)}));
  EXPECT_THAT(pathsOf(scan), ElementsAre(longest + ".pdf", std::string(250, 'q') + "?.pdf"));
}

TEST(MacScan, TakesDigestsOverOnlyWhileSizeDateAndIdentityAreUnchanged) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  write(root / "same.pdf", "unchanged");
  write(root / "edited.pdf", "version 1");
  MacScan::Options options = toTablet();
  const MacScan first = MacScan::read(root, options);
  ReadingFolderManifest record = recordOf(first);
  // A digest that was never computed proves it was taken over and not recomputed.
  record.files["same.pdf"].sha256 = std::string(64, 'f');

  // Same size, and the date put back to the second and the nanosecond: only the
  // status-change time tells.
  struct stat before {};
  ASSERT_EQ(::stat((root / "edited.pdf").c_str(), &before), 0);
  write(root / "edited.pdf", "version 2");
  const timespec times[2] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, (root / "edited.pdf").c_str(), times, 0), 0);

  options.record = &record;
  const MacScan second = MacScan::read(root, options);
  ASSERT_THAT(pathsOf(second), ElementsAre("edited.pdf", "same.pdf"));
  EXPECT_EQ(second.files[0].sha256, sha256Hex("version 2"));
  EXPECT_FALSE(second.files[0].fromRecord);
  EXPECT_EQ(second.files[0].modified, first.files[0].modified);
  EXPECT_EQ(second.files[1].sha256, std::string(64, 'f'));
  EXPECT_TRUE(second.files[1].fromRecord);
}

TEST(MacScan, CountsTheLimitsAndHashesNothingPastThem) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  const ReadingFolder::Limits limits{3, 2, 1'000};
  write(root / "one/a", std::string(400, 'a'));
  write(root / "two/b", std::string(400, 'b'));
  write(root / "c", std::string(200, 'c'));
  MacScan::Options options = toTablet();
  options.limits = limits;
  MacScan scan = MacScan::read(root, options);
  EXPECT_EQ(scan.overLimit, std::nullopt);

  for (const auto& [grow, holds] : std::vector<std::pair<std::function<void()>, std::string>>{
           {[&] { write(root / "c", std::string(201, 'c')); }, "3 files in 2 folders and 1 KB"},
           {[&] { write(root / "d", ""); }, "4 files in 2 folders and 1 KB"},
           {[&] { fs::create_directory(root / "three"); }, "4 files in 3 folders and 1 KB"}}) {
    grow();
    scan = MacScan::read(root, options);
    EXPECT_EQ(scan.overLimit,
              "This folder holds " + holds +
                  ". A reading folder can hold up to 3 files in 2 folders and 1 KB, so nothing "
                  "was copied. Choose a smaller folder.");
    for (const MacFile& file : scan.files)
      EXPECT_EQ(file.sha256, std::nullopt) << file.path;
  }
}

TEST(MacScan, StandardLimitsHoldExactlyTwoThousandFilesFiveHundredFoldersAndSixteenGB) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  for (int i = 0; i < 500; ++i)
    fs::create_directory(root / std::to_string(i));
  for (int i = 0; i < 1999; ++i)
    write(root / std::to_string(i % 500) / std::to_string(i), "");
  // A sparse file holds the bytes without the disk; its digest comes from the record.
  const fs::path big = root / "big.bin";
  write(big, "");
  fs::resize_file(big, 16'000'000'000);
  MacScan::Options options = toTablet();
  options.limits = {1, 1, 1};
  ReadingFolderManifest record = recordOf(MacScan::read(root, options));
  for (auto& [path, copied] : record.files)
    copied.sha256 = sha256Hex("");
  options.limits = ReadingFolder::Limits::standard;
  options.record = &record;

  MacScan scan = MacScan::read(root, options);
  EXPECT_EQ(scan.overLimit, std::nullopt);
  EXPECT_EQ(scan.files.size(), 2000u);
  EXPECT_EQ(scan.folders.size(), 500u);

  const std::string limits = "2,000 files in 500 folders and 16 GB";
  fs::resize_file(big, 16'000'000'001);
  scan = MacScan::read(root, options);
  EXPECT_EQ(scan.overLimit,
            "This folder holds 2,000 files in 500 folders and 16 GB. A reading "
            "folder can hold up to " +
                limits + ", so nothing was copied. Choose a smaller folder.");
  fs::resize_file(big, 16'000'000'000);
  write(root / "0/one more", "");
  EXPECT_TRUE(MacScan::read(root, options).overLimit->starts_with("This folder holds 2,001 files"));
  fs::remove(root / "0/one more");
  fs::create_directory(root / "one more");
  EXPECT_TRUE(MacScan::read(root, options)
                  .overLimit->starts_with("This folder holds 2,000 files in 501 folders"));
}

TEST(MacScan, AFileChangedWhileReadIsLeftForNextTime) {
  if (!testing::OpenTrap::available()) GTEST_SKIP() << "needs fanotify (root)";
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  write(root / "a.pdf", "first");
  write(root / "b.pdf", "other");
  const int writer = ::open((root / "a.pdf").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  MacScan scan;
  {
    testing::OpenTrap trap(root / "a.pdf", [&] { (void)!::pwrite(writer, "F", 1, 0); });
    scan = MacScan::read(root, toTablet());
  }
  ::close(writer);
  EXPECT_THAT(pathsOf(scan), ElementsAre("b.pdf"));
  EXPECT_THAT(scan.skipped,
              ElementsAre(ReadingFolderNote{"a.pdf", std::string(NoteText::changedWhileRead)}));
  EXPECT_FALSE(scan.complete);
  EXPECT_FALSE(scan.localPaths.contains("a.pdf"));
}

TEST(MacScan, AFolderMovedOrReplacedWhileReadGivesNothingThisTime) {
  if (!testing::OpenTrap::available()) GTEST_SKIP() << "needs fanotify (root)";
  TemporaryFolder place;
  const fs::path root = place.path() / "Reading";
  write(root / "a.pdf", "first");
  MacScan scan;
  {
    testing::OpenTrap trap(root / "a.pdf", [&] {
      fs::rename(root, place.path() / "Moved");
      fs::create_directory(root);
    });
    scan = MacScan::read(root, toTablet());
  }
  EXPECT_TRUE(scan.files.empty());
  EXPECT_FALSE(scan.complete);
  EXPECT_THAT(scan.skipped, ElementsAre(ReadingFolderNote{"", std::string(NoteText::folderMoved)}));
  // Read again, the new folder is a new folder.
  const MacScan again = MacScan::read(root, toTablet());
  EXPECT_TRUE(again.complete);
  EXPECT_NE(again.root->id(), scan.root->id());
  EXPECT_EQ(MacRoot::of(place.path() / "Moved").inode, scan.root->inode);
}

TEST(FileIdentity, SaysWhatAPathIsAndWhetherALinkLeadsThere) {
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  write(root / "real/a.pdf", "12345");
  fs::create_directory_symlink(root / "real", root / "link");
  const auto direct = FileIdentity::of(root / "real/a.pdf");
  const auto throughLink = FileIdentity::of(root / "link/a.pdf");
  ASSERT_TRUE(direct && throughLink);
  EXPECT_EQ(direct->kind, FileIdentity::Kind::file);
  EXPECT_EQ(direct->size, 5);
  EXPECT_FALSE(direct->viaLink);
  EXPECT_TRUE(throughLink->viaLink);
  EXPECT_EQ(throughLink->inode, direct->inode);
  EXPECT_EQ(throughLink->resolvedPath, fs::canonical(root / "real/a.pdf").string());
  EXPECT_EQ(FileIdentity::of(root / "link")->kind, FileIdentity::Kind::folder);
  EXPECT_EQ(FileIdentity::of(root / "nothing"), std::nullopt);
}

TEST(MacScan, WhatCannotBeReadMakesTheScanIncomplete) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to read as another user";
  TemporaryFolder folder;
  const fs::path& root = folder.path();
  write(root / "open.pdf", "open");
  write(root / "secret.pdf", "secret");
  write(root / "locked/inside.pdf", "inside");
  fs::permissions(root, fs::perms(0755));
  fs::permissions(root / "open.pdf", fs::perms(0644));
  fs::permissions(root / "secret.pdf", fs::perms::none);
  fs::permissions(root / "locked", fs::perms(0700));
  // The scan runs as "nobody", in a child process, which reports by its exit status.
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
    const MacScan scan = MacScan::read(root, toTablet());
    const std::vector<ReadingFolderNote> expected{
        {"locked", std::string(NoteText::unreadable)},
        {"secret.pdf", std::string(NoteText::unreadable)}};
    const bool right = !scan.complete && scan.unreadable == 2 && scan.skipped == expected &&
                       pathsOf(scan) == std::vector<std::string>{"open.pdf"};
    ::_exit(right ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace lumivale
