#include "core/tablet/tools/platform_tools_manifest.h"

#include <gtest/gtest.h>

#include "core/tablet/tools/tools_error.h"

namespace lumivale {
namespace {

// Shaped as Google's repository manifest is: channels first, then packages, each
// with its revision, channel and archives per system.
const std::string kManifest = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<sdk:sdk-repository xmlns:sdk="http://schemas.android.com/sdk/android/repo/repository2/01"
    xmlns:common="http://schemas.android.com/repository/android/common/01"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
  <license id="android-sdk-license" type="text">Terms and Conditions</license>
  <channel id="channel-0">stable</channel>
  <channel id="channel-1">beta</channel>
  <remotePackage path="platform-tools">
    <revision><major>34</major><minor>0</minor><micro>5</micro></revision>
    <display-name>Android SDK Platform-Tools</display-name>
    <channelRef ref="channel-0"/>
    <archives>
      <archive>
        <complete><size>6</size><checksum>aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa</checksum><url>platform-tools_r34.0.5-linux.zip</url></complete>
        <host-os>linux</host-os>
      </archive>
    </archives>
  </remotePackage>
  <remotePackage path="platform-tools">
    <revision><major>35</major><minor>0</minor><micro>2</micro></revision>
    <channelRef ref="channel-0"/>
    <archives>
      <archive>
        <complete><size>6911876</size><checksum type="sha1">B2E4C5A1A5C8E29E0B1B1F2E3D4C5B6A79808F9E</checksum><url>platform-tools_r35.0.2-darwin.zip</url></complete>
        <host-os>macosx</host-os>
      </archive>
      <archive>
        <complete>
          <size>7116472</size>
          <checksum type="sha1">0123456789abcdef0123456789abcdef01234567</checksum>
          <url>platform-tools_r35.0.2-linux.zip</url>
        </complete>
        <patches><patch><size>1</size><url>patch.zip</url></patch></patches>
        <host-os>linux</host-os>
      </archive>
    </archives>
  </remotePackage>
  <remotePackage path="platform-tools">
    <revision><major>36</major><minor>0</minor><micro>0</micro><preview>1</preview></revision>
    <channelRef ref="channel-1"/>
    <archives><archive><complete><size>1</size><checksum>bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb</checksum><url>preview-linux.zip</url></complete><host-os>linux</host-os></archive></archives>
  </remotePackage>
  <remotePackage path="emulator">
    <revision><major>99</major></revision>
    <archives><archive><complete><size>1</size><checksum>cccccccccccccccccccccccccccccccccccccccc</checksum><url>emulator-linux.zip</url></complete><host-os>linux</host-os><host-arch>x64</host-arch></archive></archives>
  </remotePackage>
</sdk:sdk-repository>
)";

TEST(PlatformToolsManifest, TakesTheNewestStableCompleteArchiveForTheSystem) {
  PlatformToolsArchive linux = PlatformToolsManifest::newestFor(kManifest, "linux", "x64");
  EXPECT_EQ(linux, (PlatformToolsArchive{"35.0.2", "platform-tools_r35.0.2-linux.zip", 7116472,
                                         "sha1", "0123456789abcdef0123456789abcdef01234567"}));
  // Upper-case hex is read as the same checksum.
  PlatformToolsArchive mac = PlatformToolsManifest::newestFor(kManifest, "macosx", "aarch64");
  EXPECT_EQ(mac.checksum, "b2e4c5a1a5c8e29e0b1b1f2e3d4c5b6a79808f9e");
  EXPECT_EQ(mac.url, "platform-tools_r35.0.2-darwin.zip");
}

TEST(PlatformToolsManifest, ASystemWithoutArchiveOrAnUnreadableListIsRefused) {
  try {
    PlatformToolsManifest::newestFor(kManifest, "windows", "x64");
    FAIL() << "a system the list does not serve was accepted";
  } catch (const ToolsError& error) {
    EXPECT_EQ(error.message(),
              "Google’s list of Android’s tools offers no platform tools for windows.");
  }
  try {
    PlatformToolsManifest::newestFor("<sdk-repository><remotePackage", "linux", "x64");
    FAIL() << "a cut-off list was accepted";
  } catch (const ToolsError& error) {
    EXPECT_TRUE(error.message().starts_with("Google’s list of Android’s tools could not be read ("))
        << error.message();
  }
}

TEST(PlatformToolsManifest, AnArchiveWithABadSizeOrChecksumIsPassedOver) {
  std::string bad = kManifest;
  bad.replace(bad.find("<size>7116472</size>"), 20, "<size>7e6</size>");
  // The 35.0.2 Linux archive no longer counts, so the older one is taken.
  EXPECT_EQ(PlatformToolsManifest::newestFor(bad, "linux", "x64").version, "34.0.5");
  bad.replace(bad.find("aaaaaaaaaa"), 10, "zzzzzzzzzz");
  EXPECT_THROW(PlatformToolsManifest::newestFor(bad, "linux", "x64"), ToolsError);
}

}  // namespace
}  // namespace lumivale
