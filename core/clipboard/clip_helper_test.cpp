#include "core/clipboard/clip_helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/testing/fake_clip_tablet.h"
#include "core/crypto_library.h"
#include "core/files/testing/message_of.h"

namespace lumivale {
namespace {

using ::testing::ElementsAre;
using testing::FakeClipTablet;
using testing::messageOf;

const std::string kPath(ClipHelper::remotePath);

TEST(ClipHelperTest, GivenNoHelperOnTheTabletWePushTheShippedOneAndCheckIt) {
  FakeClipTablet tablet;
  EXPECT_TRUE(ClipHelper::ensureInstalled(tablet, tablet, "LV1"));
  ASSERT_TRUE(tablet.files.count(kPath));
  EXPECT_EQ(sha256Hex(tablet.files[kPath]), ClipHelper::Embedded::shipped().sha256);
  EXPECT_EQ(tablet.files[kPath].substr(0, 4), "dex\n");
  EXPECT_EQ(tablet.files.size(), 1u);  // the staged copy was moved into place
  EXPECT_THAT(tablet.commands,
              ElementsAre(::testing::StartsWith("sha256sum " + kPath), "push",
                          "mv -f /data/local/tmp/.lumivale-partial-lumivale-clip.dex " + kPath,
                          ::testing::StartsWith("sha256sum")));
}

TEST(ClipHelperTest, GivenTheSameHelperNothingIsPushedAndAStaleOneIsReplaced) {
  FakeClipTablet tablet;
  ASSERT_TRUE(ClipHelper::ensureInstalled(tablet, tablet, "LV1"));
  tablet.commands.clear();
  EXPECT_FALSE(ClipHelper::ensureInstalled(tablet, tablet, "LV1"));
  EXPECT_EQ(tablet.commands.size(), 1u);

  tablet.files[kPath] = "an older helper";
  EXPECT_TRUE(ClipHelper::ensureInstalled(tablet, tablet, "LV1"));
  EXPECT_EQ(sha256Hex(tablet.files[kPath]), ClipHelper::Embedded::shipped().sha256);
}

TEST(ClipHelperTest, ACorruptEmbeddedHelperIsNeverPushed) {
  const std::string shippedHash(ClipHelper::Embedded::shipped().sha256);
  for (ClipHelper::Embedded corrupt : {ClipHelper::Embedded{"not base64!", shippedHash},
                                       ClipHelper::Embedded{"ZGV4Cg==", shippedHash}}) {
    FakeClipTablet tablet;
    EXPECT_EQ(
        messageOf([&] { ClipHelper::ensureInstalled(tablet, tablet, "LV1", nullptr, corrupt); }),
        "the embedded clipboard helper is corrupt");
    EXPECT_EQ(tablet.commands.size(), 1u);
  }
}

TEST(ClipHelperTest, ACopyThatDiffersAfterThePushFailsNamingItsHash) {
  FakeClipTablet tablet;
  tablet.pushLosesLastByte = true;
  std::string message = messageOf([&] { ClipHelper::ensureInstalled(tablet, tablet, "LV1"); });
  EXPECT_EQ(message, "/data/local/tmp/lumivale-clip.dex does not match after the push (sha256 " +
                         sha256Hex(tablet.files[kPath]) + ")");
}

TEST(ClipHelperTest, ArgumentsRunTheHelperWithAppProcess) {
  EXPECT_THAT(ClipHelper::arguments("LV1"),
              ElementsAre("-s", "LV1", "shell", "-T", "CLASSPATH=/data/local/tmp/lumivale-clip.dex",
                          "app_process", "/", "com.lumivale.clip.Main"));
  EXPECT_THAT(
      ClipHelper::arguments("LV1", 1795369237501),
      ElementsAre("-s", "LV1", "shell", "-T", "CLASSPATH=/data/local/tmp/lumivale-clip.dex",
                  "app_process", "/", "com.lumivale.clip.Main", "--since", "1795369237501"));
}

}  // namespace
}  // namespace lumivale
