#include "core/files/reading-folder/folder_choice.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/files/files_error.h"
#include "core/files/reading-folder/reading_folder_error.h"
#include "core/files/testing/message_of.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;

using testing::messageOf;
using testing::TemporaryFolder;

std::string refusal(const fs::path& chosen, const fs::path& home) {
  return messageOf([&] { ReadingFolderChoice::macFolder(chosen, home); });
}

std::string tabletRefusal(std::string_view chosen) {
  return messageOf([&] { ReadingFolderChoice::tabletFolder(chosen); });
}

TEST(ReadingFolderChoice, RefusesTheDiskTheHomeFolderAndWhatHoldsIt) {
  TemporaryFolder scratch;
  const fs::path home = scratch.path() / "home" / "alice";
  fs::create_directories(home / "Documents");
  const std::string tooBig =
      " is too big to be a reading folder; choose a folder of documents, such as one inside "
      "Documents";
  EXPECT_EQ(refusal("/", home), "/" + tooBig);
  EXPECT_EQ(refusal(home, home), "alice" + tooBig);
  EXPECT_EQ(refusal(home.parent_path(), home), "home" + tooBig);
  EXPECT_EQ(refusal("/home", home), "home" + tooBig);
  // A link to the home folder is the home folder.
  fs::create_directory_symlink(home, scratch.path() / "to-home");
  EXPECT_EQ(refusal(scratch.path() / "to-home", home), "alice" + tooBig);
  EXPECT_EQ(ReadingFolderChoice::macFolder(home / "Documents", home), home / "Documents");
}

TEST(ReadingFolderChoice, RefusesTheSystemsOwnFoldersButNotAFolderInsideAScratchOne) {
  TemporaryFolder scratch;
  const fs::path home = "/home/somebody-else";
  const std::string own = " is one of the Mac’s own folders; choose a folder of documents instead";
  EXPECT_EQ(refusal("/usr", home), "usr" + own);
  EXPECT_EQ(refusal("/usr/share", home), "share" + own);
  EXPECT_EQ(refusal("/etc", home), "etc" + own);
  EXPECT_TRUE(refusal("/proc/self", home).ends_with(own));
  EXPECT_EQ(refusal("/tmp", home), "tmp" + own);
  EXPECT_EQ(refusal("/nowhere/at/all", home),
            "/nowhere/at/all is not a folder on this Mac; choose a folder of documents");
  fs::create_directories(scratch.path() / "Books");
  EXPECT_EQ(refusal(scratch.path() / "Books", home), "no error");
}

TEST(ReadingFolderChoice, RefusesTheTopOfCloudFoldersButNotTheirInside) {
  TemporaryFolder scratch;
  const fs::path home = scratch.path();
  const std::string cloud =
      "choose a folder inside iCloud Drive or the cloud folder, not all of it";
  for (const char* top :
       {"Dropbox", "OneDrive - Work", "Google Drive", "Nextcloud",
        "Library/Mobile Documents/com~apple~CloudDocs", "Library/CloudStorage/GoogleDrive-a@b.c"}) {
    fs::create_directories(home / top / "Papers");
    EXPECT_EQ(refusal(home / top, home), cloud) << top;
    EXPECT_EQ(refusal(home / top / "Papers", home), "no error") << top;
  }
  EXPECT_EQ(refusal(home / "Library/Mobile Documents", home), cloud);
  fs::create_directories(home / "Dropbox Archive");
  EXPECT_EQ(refusal(home / "Dropbox Archive", home), "no error");
}

TEST(ReadingFolderChoice, TabletFolderIsNeitherHiddenNorTheWholeStorage) {
  EXPECT_EQ(ReadingFolderChoice::tabletFolder("/sdcard/Documents/From Mac/"),
            "/sdcard/Documents/From Mac");
  EXPECT_EQ(ReadingFolderChoice::tabletFolder("Books"), "/sdcard/Books");
  EXPECT_EQ(tabletRefusal("/sdcard"),
            "choose a folder on the Lumivale, not the whole of its storage");
  EXPECT_EQ(tabletRefusal("/storage/emulated/0/"),
            "choose a folder on the Lumivale, not the whole of its storage");
  EXPECT_EQ(tabletRefusal("/sdcard/.hidden/Books"),
            "the folder on the Lumivale cannot be a hidden one ('.hidden')");
  EXPECT_EQ(tabletRefusal("/data/local"),
            "'/data/local': it is outside the tablet’s shared storage (/sdcard)");
}

}  // namespace
}  // namespace lumivale
