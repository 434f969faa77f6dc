// adb push and adb pull -a through the stand-in: bytes, modes and times kept.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

constexpr size_t KiB = 1024;
constexpr size_t MiB = 1024 * KiB;

struct FileFacts {
  std::string bytes;
  mode_t permissions = 0;
  time_t mtime = 0;
};

FileFacts factsOf(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return {};
  std::string bytes(static_cast<size_t>(info.st_size), '\0');
  std::ifstream(path, std::ios::binary).read(bytes.data(), std::ssize(bytes));
  return {std::move(bytes), info.st_mode & 07777, info.st_mtime};
}

// Writes `size` seeded bytes with the given mode and modification time.
void writeFile(const fs::path& path, size_t size, uint32_t seed, mode_t mode, time_t mtime) {
  fs::create_directories(path.parent_path());
  std::string bytes(size, '\0');
  // xorshift: fast enough to fill hundreds of MiB in an unoptimised build
  uint64_t state = 0x9e3779b97f4a7c15ull * (seed + 1);
  for (size_t at = 0; at < size; at += 8) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    std::memcpy(bytes.data() + at, &state, std::min<size_t>(8, size - at));
  }
  std::ofstream(path, std::ios::binary).write(bytes.data(), std::ssize(bytes));
  ::chmod(path.c_str(), mode);
  timespec times[2] = {{mtime, 0}, {mtime, 0}};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

void expectSameFile(const fs::path& expected, const fs::path& actual) {
  FileFacts want = factsOf(expected);
  FileFacts got = factsOf(actual);
  EXPECT_TRUE(want.bytes == got.bytes)
      << actual << ": " << got.bytes.size() << " bytes, wanted " << want.bytes.size();
  EXPECT_EQ(got.permissions, want.permissions) << actual;
  EXPECT_EQ(got.mtime, want.mtime) << actual;
}

class StandinTransferTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { tablet_ = std::make_unique<StandinTablet>(); }
  static void TearDownTestSuite() { tablet_.reset(); }
  void SetUp() override { local_ = tablet().dataFolder() / "local" / testName(); }
  void TearDown() override { fs::remove_all(local_); }

  static StandinTablet& tablet() { return *tablet_; }
  static std::string testName() {
    return ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }

  // Pushes `source` to `tabletPath`, checks what landed on the tablet, pulls it
  // back with -a into `pulled` and checks that too.
  void roundTrip(const fs::path& source, const std::string& tabletPath, const fs::path& pulled,
                 bool folder) {
    ToolRun push = tablet().adb({"push", source.string(), tabletPath});
    ASSERT_EQ(push.status, 0) << push.stdoutData << push.stderrData;
    fs::create_directories(pulled.parent_path());
    ToolRun pull = tablet().adb({"pull", "-a", tabletPath, pulled.string()});
    ASSERT_EQ(pull.status, 0) << pull.stdoutData << pull.stderrData;
    if (!folder) {
      expectSameFile(source, tablet().hostPath(tabletPath));
      expectSameFile(source, pulled);
      return;
    }
    size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(source)) {
      if (!entry.is_regular_file()) continue;
      fs::path relative = fs::relative(entry.path(), source);
      expectSameFile(entry.path(), tablet().hostPath(tabletPath) / relative);
      expectSameFile(entry.path(), pulled / relative);
      ++files;
    }
    EXPECT_GT(files, 0u);
  }

  fs::path local_;

 private:
  static inline std::unique_ptr<StandinTablet> tablet_;
};

TEST_F(StandinTransferTest, FilesAroundTheChunkSizesRoundTrip) {
  const std::vector<size_t> sizes{0, 1, 64 * KiB - 1, 64 * KiB, 64 * KiB + 1, 5 * MiB};
  const std::vector<mode_t> modes{0644, 0600, 0755, 0640, 0444, 0700};
  for (size_t index = 0; index < sizes.size(); ++index) {
    SCOPED_TRACE(fmt::format("{} bytes", sizes[index]));
    fs::path source = local_ / fmt::format("file-{}.bin", sizes[index]);
    writeFile(source, sizes[index], static_cast<uint32_t>(index), modes[index],
              1600000000 + static_cast<time_t>(index) * 86400);
    roundTrip(source, fmt::format("/sdcard/Transfer/new folder/file {}.bin", sizes[index]),
              local_ / "pulled" / source.filename(), false);
  }
}

TEST_F(StandinTransferTest, AFolderOfAThousandFilesRoundTrips) {
  fs::path source = local_ / "Books";
  for (int index = 0; index < 1000; ++index)
    writeFile(source / fmt::format("shelf {}", index % 10) / fmt::format("book-{}.txt", index),
              static_cast<size_t>(index * 37 % 5000), static_cast<uint32_t>(index),
              index % 3 ? 0644 : 0600, 1500000000 + index);
  roundTrip(source, "/sdcard/Books", local_ / "pulled", true);
}

// The one large case, kept to one test: it dominates the suite's time.
TEST_F(StandinTransferTest, A300MiBFileRoundTrips) {
  fs::path source = local_ / "large.bin";
  writeFile(source, 300 * MiB, 300, 0640, 1700000000);
  roundTrip(source, "/data/local/tmp/large.bin", local_ / "large.pulled", false);
  fs::remove(tablet().hostPath("/data/local/tmp/large.bin"));
}

}  // namespace
}  // namespace lumivale::testing
