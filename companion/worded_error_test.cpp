#include "companion/worded_error.h"

#include <fstream>
#include <system_error>

#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale::companion {
namespace {

namespace fs = std::filesystem;

// A real failure of the standard library: a folder asked for under a plain file.
class WordedErrorTest : public ::testing::Test {
 protected:
  void SetUp() override { std::ofstream(root.path() / "plain") << "not a folder"; }

  void makeFolderUnderAFile() const { fs::create_directories(blocked); }

  testing::TemporaryFolder root;
  fs::path blocked = root.path() / "plain" / "inside";
};

TEST_F(WordedErrorTest, AFailureWhereTheWorkIsKnownSaysWhatWhereAndWhy) {
  try {
    wordingFileErrors("could not put the copy in", [&] { makeFolderUnderAFile(); });
    ADD_FAILURE() << "made";
  } catch (const FileSystemError& error) {
    EXPECT_EQ(error.message(),
              "could not put the copy in " + blocked.string() + ": Not a directory");
    EXPECT_EQ(error.code(), ENOTDIR);
  }
  EXPECT_EQ(wordingFileErrors("could not read", [] { return 7; }), 7);
}

TEST_F(WordedErrorTest, TheLastNetNeverShowsTheLibrarysOwnText) {
  try {
    makeFolderUnderAFile();
    ADD_FAILURE() << "made";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(wordedMessage(error),
              "a file operation on " + blocked.string() + " failed: Not a directory");
  }
  EXPECT_EQ(wordedMessage(std::system_error(EMFILE, std::generic_category(), "pipe")),
            "the system refused an operation: Too many open files");
  EXPECT_EQ(wordedMessage(Error("Enter your password.")), "Enter your password.");
}

}  // namespace
}  // namespace lumivale::companion
