#include "core/tablet/tools/tools_receipt.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {
namespace fs = std::filesystem;

void writeFile(const fs::path& file, const std::string& content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

class ToolsReceiptTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(copy / "adb", "adb program");
    writeFile(copy / "lib64" / "libc++.so", "library");
    ToolsReceipt::of(copy, "35.0.2", "https://example.test/p.zip", "sha1:00").writeInto(copy);
  }
  testing::TemporaryFolder folder;
  fs::path copy = folder.path() / "platform-tools";
};

TEST_F(ToolsReceiptTest, AnUntouchedCopyPassesAndItsReceiptIsPrivate) {
  EXPECT_EQ(checkOwnCopy(copy), std::nullopt);
  auto receipt = ToolsReceipt::readFrom(copy);
  ASSERT_TRUE(receipt);
  EXPECT_EQ(receipt->version, "35.0.2");
  EXPECT_EQ(receipt->files.size(), 2u);
  EXPECT_TRUE(receipt->files.contains("lib64/libc++.so"));
  struct stat status {};
  ASSERT_EQ(stat((copy / ToolsReceipt::fileName).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(ToolsReceiptTest, EveryChangeToTheCopyIsNamed) {
  writeFile(copy / "adb", "adb PROGRAM");
  EXPECT_EQ(checkOwnCopy(copy), "adb has changed since it was installed");
  writeFile(copy / "adb", "adb program");
  fs::remove(copy / "lib64" / "libc++.so");
  EXPECT_EQ(checkOwnCopy(copy), "lib64/libc++.so is missing");
  writeFile(copy / "lib64" / "libc++.so", "library");
  fs::create_symlink("/usr/bin/true", copy / "lib64" / "planted.so");
  EXPECT_EQ(checkOwnCopy(copy), "lib64/planted.so was not part of it");
}

TEST_F(ToolsReceiptTest, AMissingOrDamagedReceiptFailsTheCheck) {
  writeFile(copy / ToolsReceipt::fileName, "{\"version\": ");
  EXPECT_EQ(checkOwnCopy(copy), "its receipt cannot be read");
  fs::remove(copy / ToolsReceipt::fileName);
  EXPECT_EQ(checkOwnCopy(copy), "its receipt is missing");
}

}  // namespace
}  // namespace lumivale
