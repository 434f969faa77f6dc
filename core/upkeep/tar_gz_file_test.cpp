#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/tool_run.h"
#include "core/upkeep/tar_gz_file.h"

namespace lumivale {
namespace {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(TarGzFileTest, TarReadsBackEveryMemberByteForByteFromAPrivateFile) {
  testing::TemporaryFolder folder;
  auto archive = folder.path() / "bundle.tar.gz";
  std::string binary("a\0b\xff\n", 5);
  std::string large(300000, 'x');
  writeTarGz(archive, {{"bundle/empty.txt", ""},
                       {"bundle/binary.bin", binary},
                       {"bundle/" + std::string(120, 'n') + ".txt", large}});
  struct stat file {};
  ASSERT_EQ(::stat(archive.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600);
  EXPECT_FALSE(std::filesystem::exists(archive.string() + ".partial"));

  auto out = folder.path() / "out";
  std::filesystem::create_directory(out);
  ToolRun tar =
      ToolRun::run("/bin/tar", {"-xzf", archive.string(), "-C", out.string()}, Seconds(60));
  ASSERT_EQ(tar.status, 0) << tar.stderrData;
  EXPECT_EQ(contentOf(out / "bundle/empty.txt"), "");
  EXPECT_EQ(contentOf(out / "bundle/binary.bin"), binary);
  EXPECT_EQ(contentOf(out / "bundle" / (std::string(120, 'n') + ".txt")), large);
}

TEST(TarGzFileTest, AFolderThatCannotBeWrittenLeavesNothingAndSaysWhere) {
  testing::TemporaryFolder folder;
  auto archive = folder.path() / "missing" / "bundle.tar.gz";
  try {
    writeTarGz(archive, {{"a.txt", "a"}});
    FAIL();
  } catch (const Error& error) {
    EXPECT_NE(error.message().find(archive.string() + ".partial"), std::string::npos)
        << error.message();
  }
}

}  // namespace
}  // namespace lumivale
