#include "core/files/remote_path.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

std::string reason(std::string_view path) {
  try {
    RemotePath::validate(path);
  } catch (const RemotePathError& error) {
    return error.reason();
  }
  return "passed";
}

std::string nameReason(std::string_view name) {
  try {
    RemotePath::validateName(name);
  } catch (const RemotePathError& error) {
    return error.reason();
  }
  return "passed";
}

TEST(RemotePathTest, ResolvesRelativePathsUnderSdcardAndNormalisesSlashes) {
  EXPECT_EQ(RemotePath::resolve(""), "/sdcard");
  EXPECT_EQ(RemotePath::resolve("Books"), "/sdcard/Books");
  EXPECT_EQ(RemotePath::resolve("/sdcard//Books/"), "/sdcard/Books");
  EXPECT_EQ(RemotePath::validate("/storage/emulated/0/Books"), "/storage/emulated/0/Books");
  EXPECT_EQ(RemotePath::validate("//storage//emulated/0//Books/"), "/storage/emulated/0/Books");
}

TEST(RemotePathTest, ValidAndNormalIsWhatValidateGivesBackUnchanged) {
  const std::string name255(255, 'n');
  for (const std::string& path : std::vector<std::string>{
           "/sdcard", "/sdcard/a", "/storage/emulated/0", "/storage/emulated/0/Books/a b.pdf",
           "/sdcard/" + name255, "/sdcard/.hidden/..."}) {
    EXPECT_TRUE(RemotePath::isValidAndNormal(path)) << path;
    EXPECT_EQ(RemotePath::validate(path), path);
  }
  for (const std::string& path : std::vector<std::string>{
           "", "/", "/sdcard//a", "/sdcard/a/", "/sdcard/", "//sdcard", "/sdcard/./a", "/sdcard/..",
           "sdcard/a", "/data/a", "/storage/emulated/01", "/storage/emulated", "/sdcard/a\nb",
           "/sdcard/" + name255 + "n"})
    EXPECT_FALSE(RemotePath::isValidAndNormal(path)) << path;
}

TEST(RemotePathTest, RefusesPathsInTheDocumentedOrder) {
  EXPECT_EQ(reason(""), "an empty path");
  EXPECT_EQ(reason(std::string("/sdcard/a\0b", 11)), "a path with a NUL character");
  EXPECT_EQ(reason("/sdcard/a\nb"), "a path with a line break");
  EXPECT_EQ(reason("/sdcard/a\tb"), "a path with a control character");
  EXPECT_EQ(reason("sdcard/a"), "'sdcard/a': not an absolute path (it must start with /sdcard)");
  // ".." is refused before the storage check could resolve it away.
  EXPECT_EQ(reason("/sdcard/../etc"), "'/sdcard/../etc': '.' and '..' are not allowed");
  EXPECT_EQ(reason("/sdcard/" + std::string(256, 'n') + "/.."),
            "'/sdcard/" + std::string(256, 'n') + "/..': '.' and '..' are not allowed");
  EXPECT_EQ(reason("/data"), "'/data': it is outside the tablet\u2019s shared storage (/sdcard)");
  EXPECT_EQ(reason("/sdcardx/a"),
            "'/sdcardx/a': it is outside the tablet\u2019s shared storage (/sdcard)");
  EXPECT_EQ(reason("/"), "'/': it is outside the tablet\u2019s shared storage (/sdcard)");
}

TEST(RemotePathTest, NameAndPathLengthLimitsAreInclusive) {
  const std::string name255(255, 'n');
  EXPECT_EQ(reason("/sdcard/" + name255), "passed");
  EXPECT_EQ(nameReason(name255), "passed");
  EXPECT_EQ(nameReason(name255 + "n"), "a name longer than 255 bytes");
  const std::string tooLong = reason("/sdcard/" + name255 + "n/next");
  EXPECT_TRUE(tooLong.starts_with("'…")) << tooLong;
  EXPECT_TRUE(tooLong.ends_with("nnn': a name longer than 255 bytes")) << tooLong;

  // "/sdcard" + 16 components of "/" + 254 bytes, then pad the last to land exactly on 4096.
  std::string path = "/sdcard";
  while (path.size() + 255 <= 4096)
    path += "/" + std::string(254, 'p');
  path += "/" + std::string(4096 - path.size() - 1, 'q');
  ASSERT_EQ(path.size(), 4096u);
  EXPECT_EQ(reason(path), "passed");
  EXPECT_EQ(reason(path + "q"), "a path longer than 4096 bytes");
}

TEST(RemotePathTest, NameRulesNameTheOffendingCharacter) {
  EXPECT_EQ(nameReason("."), "'.' is not a name");
  EXPECT_EQ(nameReason(".."), "'..' is not a name");
  EXPECT_EQ(nameReason("a/b"), "'a/b': a name cannot contain '/'");
  EXPECT_EQ(nameReason("what?.pdf"),
            "'what?.pdf': the tablet does not allow ? in a name (nor any of \" * : < > ? \\ |)");
  EXPECT_EQ(nameReason("a\rb"), "a name with a line break");
  EXPECT_EQ(nameReason("it's (a) copy & more;.pdf"), "passed");
  EXPECT_THROW(RemotePath::validateNewName(".lumivale-partial-x"), RemotePathError);
  EXPECT_EQ(RemotePath::validateNewName(".hidden"), ".hidden");
}

TEST(RemotePathTest, NameParentAndJoin) {
  EXPECT_EQ(RemotePath::name("/sdcard/Books/a.pdf"), "a.pdf");
  EXPECT_EQ(RemotePath::parent("/sdcard/Books/a.pdf"), "/sdcard/Books");
  EXPECT_EQ(RemotePath::parent("/sdcard"), std::nullopt);
  EXPECT_EQ(RemotePath::parent("/storage/emulated/0/"), std::nullopt);
  EXPECT_EQ(RemotePath::join("/sdcard/Books", "a.pdf"), "/sdcard/Books/a.pdf");
  EXPECT_THROW(RemotePath::join("/sdcard", ".."), RemotePathError);
  EXPECT_TRUE(RemotePath::isInsideStorage("/sdcard/x", "/storage/emulated/0/x"));
  EXPECT_TRUE(RemotePath::isInsideStorage("/sdcard", "/storage/emulated/0"));
  EXPECT_FALSE(RemotePath::isInsideStorage("/sdcard/x", "/storage/emulated/01"));
  EXPECT_FALSE(RemotePath::isInsideStorage("/sdcard/link", "/data/local"));
}

TEST(RemotePathTest, UniqueNameCountsBeforeTheExtensionAndIgnoresCase) {
  const std::set<std::string> existing{"a.pdf", "A 2.pdf", "Notes"};
  EXPECT_EQ(RemotePath::uniqueName("A.pdf", existing, false, true), "A 3.pdf");
  EXPECT_EQ(RemotePath::uniqueName("A.pdf", existing, false, false), "A.pdf");
  EXPECT_EQ(RemotePath::uniqueName("notes", existing, true, true), "notes 2");
  // A folder keeps its dots; a dot file has no extension.
  EXPECT_EQ(RemotePath::uniqueName("Notes", {"Notes", "Notes 2"}, true, false), "Notes 3");
  EXPECT_EQ(RemotePath::uniqueName("v1.2", {"v1.2"}, true, false), "v1.2 2");
  EXPECT_EQ(RemotePath::uniqueName(".profile", {".profile"}, false, false), ".profile 2");
}

TEST(RemotePathTest, SafeNamesForEachSide) {
  EXPECT_EQ(RemotePath::fatSafeName("a:b|c?.pdf"), "a_b_c_.pdf");
  EXPECT_EQ(RemotePath::macSafeName("a:b/c"), "a_b_c");
  EXPECT_EQ(RemotePath::macSafeName("bad\xff"
                                    "name"),
            "bad_name");
  EXPECT_EQ(RemotePath::macSafeName(".."), "_..");
}

TEST(RemotePathTest, DisplayEscapesDisguisingCharactersAndBadBytes) {
  // A right-to-left override could make "txt.exe" read as "exe.txt".
  EXPECT_EQ(RemotePath::escapedForDisplay("/sdcard/a\u202Etxt.exe"), "/sdcard/a\\u{202E}txt.exe");
  EXPECT_EQ(RemotePath::escapedForDisplay("a\nb"), "a\\u{000A}b");
  EXPECT_EQ(RemotePath::escapedForDisplay("bad\xff"), "bad\\xFF");
  EXPECT_EQ(RemotePath::escapedForDisplay("Büch"), "Büch");
  std::string line = "name: ";
  RemotePath::appendForDisplay(line, "a\u200Eb\xff");
  EXPECT_EQ(line, "name: a\\u{200E}b\\xFF");
}

TEST(RemotePathTest, CrumbsStartAtTheTabletsName) {
  using Crumb = RemotePath::Crumb;
  EXPECT_EQ(RemotePath::crumbs("/sdcard/Books/Old", "LV-1"),
            (std::vector<Crumb>{
                {"LV-1", "/sdcard"}, {"Books", "/sdcard/Books"}, {"Old", "/sdcard/Books/Old"}}));
  EXPECT_EQ(RemotePath::crumbs("/storage/emulated/0", "LV-1"),
            (std::vector<Crumb>{{"LV-1", "/storage/emulated/0"}}));
}

}  // namespace
}  // namespace lumivale
