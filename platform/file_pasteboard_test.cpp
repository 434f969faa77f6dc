#include "platform/file_pasteboard.h"

#include <unistd.h>

#include <fstream>

#include <gtest/gtest.h>

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using Kind = PasteboardContent::Kind;

class FilePasteboardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "lumivale-pasteboard-XXXXXX").string();
    folder = ::mkdtemp(pattern.data());
  }
  void TearDown() override { fs::remove_all(folder); }

  // What a fresh reader in another process would find.
  PasteboardContent readAfresh() const {
    FilePasteboard reader(folder / "pasteboard.json");
    reader.changeCount();
    return reader.read();
  }

  fs::path folder;
};

TEST_F(FilePasteboardTest, TwoHandlesShareCopiesAndCountEachOne) {
  FilePasteboard mine(folder / "pasteboard.json");
  FilePasteboard theirs(folder / "pasteboard.json");
  EXPECT_EQ(mine.changeCount(), 0);
  EXPECT_EQ(mine.read().kind, Kind::notText);

  EXPECT_EQ(theirs.write("caf\u00e9\n"), 1);
  EXPECT_EQ(mine.changeCount(), 1);
  EXPECT_EQ(mine.read(), PasteboardContent::ofText("caf\u00e9\n"));
  // A copy between the count and the read is seen as a clipboard still changing.
  EXPECT_EQ(theirs.copy({{"image/png", "..."}}), 2);
  EXPECT_EQ(mine.read().kind, Kind::changing);
  EXPECT_EQ(mine.changeCount(), 2);
  EXPECT_EQ(mine.read().kind, Kind::notText);
}

TEST_F(FilePasteboardTest, CopiesMarkedByPasswordManagersAreSecret) {
  FilePasteboard pasteboard(folder / "pasteboard.json");
  const std::string text = FilePasteboard::textFormat;
  pasteboard.copy({{text, "pw"}, {"x-kde-passwordManagerHint", "secret"}});
  EXPECT_EQ(readAfresh().kind, Kind::secret);
  // Any value but "public".
  pasteboard.copy({{text, "pw"}, {"x-kde-passwordManagerHint", "other"}});
  EXPECT_EQ(readAfresh().kind, Kind::secret);
  pasteboard.copy({{text, "shared"}, {"x-kde-passwordManagerHint", "public"}});
  EXPECT_EQ(readAfresh(), PasteboardContent::ofText("shared"));
  pasteboard.copy({{text, "pw"}, {"org.nspasteboard.ConcealedType", ""}});
  EXPECT_EQ(readAfresh().kind, Kind::secret);
  pasteboard.copy(
      {{text, "pw"},
       {"application/x-qt-mime-type-name;value=\"org.nspasteboard.TransientType\"", ""}});
  EXPECT_EQ(readAfresh().kind, Kind::secret);
}

TEST_F(FilePasteboardTest, ADamagedFileHoldsNothing) {
  std::ofstream(folder / "pasteboard.json") << "{\"changeCount\":";
  FilePasteboard pasteboard(folder / "pasteboard.json");
  EXPECT_EQ(pasteboard.changeCount(), 0);
  EXPECT_EQ(pasteboard.write("fresh"), 1);
  EXPECT_EQ(readAfresh(), PasteboardContent::ofText("fresh"));
}

}  // namespace
}  // namespace lumivale
