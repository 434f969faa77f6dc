#include "core/tablet/adb_locate.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "core/tablet/testing/fake_adb_tool.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;

std::vector<AdbSource> sourcesOf(const std::vector<AdbCandidate>& candidates) {
  std::vector<AdbSource> sources;
  for (const auto& candidate : candidates)
    sources.push_back(candidate.source);
  return sources;
}

TEST(AdbLocateTest, CandidatesComeInTheirDeclaredOrder) {
  auto all =
      AdbLocate::candidates({{"ANDROID_HOME", "/sdk/home"}, {"ANDROID_SDK_ROOT", "/sdk/root"}},
                            "/home/u", "/opt/lumivale", "/data/lumivale");
  EXPECT_EQ(sourcesOf(all),
            (std::vector<AdbSource>{AdbSource::appBundle, AdbSource::androidHome,
                                    AdbSource::androidSdkRoot, AdbSource::androidStudio,
                                    AdbSource::homebrew, AdbSource::homebrewIntel,
                                    AdbSource::distribution, AdbSource::lumivaleCopy}));
  EXPECT_EQ(all[0].path, "/opt/lumivale/platform-tools/adb");
  EXPECT_EQ(all[1].path, "/sdk/home/platform-tools/adb");
  EXPECT_EQ(all[3].path, "/home/u/Android/Sdk/platform-tools/adb");
  EXPECT_EQ(all[4].path, "/opt/homebrew/bin/adb");
  EXPECT_EQ(all[5].path, "/usr/local/bin/adb");
  EXPECT_EQ(all[6].path, "/usr/bin/adb");
  EXPECT_EQ(all[7].path, "/data/lumivale/platform-tools/adb");

  // Unset or empty variables give no entry.
  auto bare = AdbLocate::candidates({{"ANDROID_HOME", ""}}, "/home/u", "/opt/l", "/data/l");
  EXPECT_EQ(bare.size(), 6u);
  EXPECT_EQ(bare[1].source, AdbSource::androidStudio);
}

TEST(AdbLocateTest, TheMissingMessageMentionsAFailedOwnCopy) {
  const std::string missing =
      "Android’s tools (adb) are not on this Mac. Lumivale for Mac can get them from Google for "
      "you: click Get Android’s tools in Devices, or run lumivale tools install "
      "--agree-to-google-terms in Terminal. If you use Homebrew, brew install --cask "
      "android-platform-tools works too.";
  AdbCandidateLook own{
      {"/data/l/platform-tools/adb", AdbSource::lumivaleCopy}, std::nullopt, "is not there", {}};
  EXPECT_EQ(AdbLocate::missingMessage({own}), missing);
  own.problem = "failed its check: checksum mismatch";
  EXPECT_EQ(AdbLocate::missingMessage({own}),
            "The app’s copy of Android’s tools did not pass its check (checksum mismatch), so it "
            "was not used. " +
                missing);
}

class AdbSearchTest : public ::testing::Test {
 protected:
  testing::FakeAdbTool good;
  fs::path folder = good.folder();
  AdbSearch search{{{"ANDROID_HOME", (folder / "home").string()}},
                   folder / "nobody",
                   folder / "bundle",
                   folder / "support",
                   nullptr,
                   std::nullopt};

  void install(const fs::path& where, const std::string& script) {
    fs::create_directories(where.parent_path());
    std::ofstream(where) << script;
    fs::permissions(where, fs::perms::owner_all);
  }
};

TEST_F(AdbSearchTest, ACandidateMustAnswerAdbVersion) {
  fs::path mute = folder / "bundle/platform-tools/adb";
  install(mute, "#!/bin/sh\necho hello\n");
  fs::path real = folder / "home/platform-tools/adb";
  install(real, "#!/bin/sh\necho 'Android Debug Bridge version 1.0.41'\n");

  auto looks = AdbLocate::unusableReasons(search);
  EXPECT_EQ(looks[0].problem, "did not answer adb version");
  EXPECT_EQ(looks[1].problem, std::nullopt);
  EXPECT_EQ(looks[1].resolved, fs::canonical(real));
  EXPECT_EQ(looks[1].version, "1.0.41");
  EXPECT_EQ(AdbLocate::locate(search).candidate.source, AdbSource::androidHome);
}

TEST_F(AdbSearchTest, ACandidateThatNeverAnswersIsLeftWhenTheLookIsCancelled) {
  install(folder / "home/platform-tools/adb",
          "#!/bin/sh\ntouch \"$(dirname \"$0\")/asked\"\nexec sleep 60\n");
  StopToken stop;
  search.stop = &stop;
  std::thread look([&] { EXPECT_THROW(AdbLocate::locate(search), Cancelled); });
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!fs::exists(folder / "home/platform-tools/asked") &&
         std::chrono::steady_clock::now() < giveUp)
    std::this_thread::yield();
  stop.cancel();
  look.join();
}

TEST_F(AdbSearchTest, OurOwnCopyMustPassItsCheck) {
  search.environment.clear();
  search.ownCopyCheck = [](const fs::path&) { return std::optional<std::string>("bad receipt"); };
  install(folder / "support/platform-tools/adb",
          "#!/bin/sh\necho 'Android Debug Bridge version 1.0.41'\n");
  auto looks = AdbLocate::unusableReasons(search);
  EXPECT_EQ(looks.back().problem, "failed its check: bad receipt");
  EXPECT_TRUE(AdbLocate::missingMessage(looks).starts_with(
      "The app’s copy of Android’s tools did not pass its check (bad receipt)"));
}

TEST_F(AdbSearchTest, AnAnswerIsRememberedUntilTheFileChanges) {
  fs::path adb = folder / "home/platform-tools/adb";
  fs::path answers = folder / "answers-once";
  std::ofstream(answers) << "";
  // Answers only while the flag file exists.
  install(adb, "#!/bin/sh\n[ -f '" + answers.string() +
                   "' ] && echo 'Android Debug Bridge version 1.0.39'\n");
  search.versionMemo = folder / "memo" / "adb-answered";
  EXPECT_EQ(AdbLocate::unusableReason({adb, AdbSource::androidHome}, search), std::nullopt);
  fs::remove(answers);
  EXPECT_EQ(AdbLocate::unusableReason({adb, AdbSource::androidHome}, search), std::nullopt)
      << "remembered, not asked again";
  EXPECT_EQ(AdbLocate::locate(search).version, "1.0.39") << "the version is remembered too";
  install(adb, "#!/bin/sh\n[ -f '" + answers.string() +
                   "' ] && echo 'Android Debug Bridge version 1.0.41'\n\n");
  EXPECT_EQ(AdbLocate::unusableReason({adb, AdbSource::androidHome}, search),
            "did not answer adb version");
}

}  // namespace
}  // namespace lumivale
