#include "core/files/remote_listing.h"

#include <fstream>
#include <iterator>
#include <numeric>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/files/name_collator.h"

namespace lumivale {
namespace {

using namespace std::chrono;
using Kind = RemoteEntry::Kind;

std::string read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("missing test data: " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string capture(const std::string& name) {
  return read(std::string(LUMIVALE_FILES_TESTDATA) + "/" + name);
}

const RemoteEntry* named(const std::vector<RemoteEntry>& entries, std::string_view name) {
  for (const auto& entry : entries) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

Timestamp at(std::int64_t seconds) {
  return Timestamp(std::chrono::seconds(seconds));
}

// Captured from the stand-in tablet (see testdata/README.md). The folder holds: Books, "Folder 9",
// "Folder 10", "a b.txt" (5 bytes), a name with every awkward character a FAT name may hold,
// "pipe|name", "new\nline", a Latin-1 name, .hidden, links to a folder, to a file and to nowhere;
// all dated 2026-03-04 05:06:07.25 UTC.
constexpr std::string_view awkward = "it's [1] {2} (3) #!$%^&~`,;=+@ \u00e9.pdf";
constexpr std::int64_t capturedAt = 1772600767;

TEST(RemoteListingTest, FindPrintfReadsEveryRecordOfRealOutput) {
  auto entries = RemoteListing::parseFindPrintf(capture("find-printf.bin"), "/sdcard/Listing",
                                                "/sdcard/Listing");
  EXPECT_EQ(entries.size(), 12u);
  const RemoteEntry* text = named(entries, "a b.txt");
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(*text, (RemoteEntry{"a b.txt", "/sdcard/Listing/a b.txt", Kind::file, 5,
                                at(capturedAt) + milliseconds(250), false, true}));
  EXPECT_EQ(named(entries, "Books")->kind, Kind::directory);
  EXPECT_EQ(named(entries, "to-books")->kind, Kind::symlink);
  EXPECT_EQ(named(entries, "pipe|name")->size, 1);
  EXPECT_TRUE(named(entries, std::string(awkward))->isOperable());
  // A line break survives NUL-ended records, but such a name is never operable.
  const RemoteEntry* broken = named(entries, "new\nline");
  ASSERT_NE(broken, nullptr);
  EXPECT_TRUE(broken->exact);
  EXPECT_FALSE(broken->isOperable());
  const RemoteEntry* latin1 = named(entries, "latin1-caf\xe9");
  ASSERT_NE(latin1, nullptr);
  EXPECT_FALSE(latin1->exact);
  EXPECT_FALSE(latin1->isOperable());
}

TEST(RemoteListingTest, FindPrintfDropsRecordsNotDirectlyInsideTheFolder) {
  const std::string data = std::string("-rw-r--r--|1|1.5|/sdcard/Books/deep/x.pdf\0", 43) +
                           std::string("-rw-r--r--|1|1.5|/sdcard/Other/y.pdf\0", 37) +
                           std::string("drwxr-xr-x|0|1.5|/sdcard/Books/.\0", 33) +
                           std::string("garbage without bars\0", 21) +
                           std::string("-rw-r--r--|2|7|/sdcard/Books/z.pdf\0", 35);
  auto entries = RemoteListing::parseFindPrintf(data, "/sdcard/Books", "/sdcard/Books");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "z.pdf");
  EXPECT_EQ(entries[0].modified, at(7));
}

TEST(RemoteListingTest, EntriesAreGivenUnderTheFolderAsTheUserNamedIt) {
  auto entries =
      RemoteListing::parseFindPrintf(std::string("-rw-r--r--|2|7|/storage/emulated/0/z.pdf\0", 41),
                                     "/storage/emulated/0", "/sdcard");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].path, "/sdcard/z.pdf");
}

TEST(RemoteListingTest, ALongListingKeepsEveryEntryInTheTabletsOrder) {
  // Long enough to be read in parts, with lines to skip on both sides of the middle.
  std::string data;
  for (int i = 0; i < 5001; ++i) {
    data += "-rw-r--r--|" + std::to_string(i) + "|7|/sdcard/Books/" + std::to_string(i) + ".pdf";
    data.push_back('\0');
    if (i == 2499 || i == 2501) data += std::string("garbage\0", 8);
  }
  auto entries = RemoteListing::parseFindPrintf(data, "/sdcard/Books", "/sdcard/Books");
  ASSERT_EQ(entries.size(), 5001u);
  for (int i = 0; i < 5001; ++i) {
    ASSERT_EQ(entries[static_cast<std::size_t>(i)].name, std::to_string(i) + ".pdf");
    ASSERT_EQ(entries[static_cast<std::size_t>(i)].size, i);
  }
}

// `output` read in the pieces that `cuts` (ascending offsets) make, as a listing that
// arrives: the exit marker follows it, and comes apart from the records too.
KeyedEntries readInPieces(const std::string& output, const std::vector<std::size_t>& cuts) {
  const std::string arriving = output + "\nLUMIVALE-EXIT:0\n";
  RemoteListing::FindPrintfReader reader("/sdcard/Listing", "/sdcard/Listing", true);
  std::size_t from = 0;
  for (std::size_t cut : cuts) {
    cut = std::min(cut, arriving.size());
    reader.add(std::string_view(arriving).substr(from, cut - from));
    from = cut;
  }
  reader.add(std::string_view(arriving).substr(from));
  auto ended = TabletShell::split(reader.rest());
  if (!ended) throw std::runtime_error("the marker was lost");
  return std::move(reader).finish(ended->output);
}

TEST(RemoteListingTest, FindPrintfCutAnywhereReadsAsTheWholeOutput) {
  const std::string output = capture("find-printf.bin");
  // A cut also falls inside each name's two-byte letters.
  ASSERT_NE(output.find("\u00e9"), std::string::npos);
  const auto whole = RemoteListing::parseFindPrintf(output, "/sdcard/Listing", "/sdcard/Listing");
  SortKeys keys;
  for (const auto& entry : whole)
    keys.add(NameCollator::forUser().sortKey(entry.name));
  std::vector<std::size_t> everyByte(output.size() + 20);
  std::iota(everyByte.begin(), everyByte.end(), 1);
  for (const auto& cuts : {std::vector<std::size_t>{}, everyByte}) {
    auto read = readInPieces(output, cuts);
    ASSERT_EQ(read.entries, whole);
    ASSERT_EQ(read.nameKeys, keys);
  }
  for (std::size_t cut = 0; cut <= output.size() + 20; ++cut) {
    auto read = readInPieces(output, {cut});
    ASSERT_EQ(read.entries, whole) << "cut at " << cut;
    ASSERT_EQ(read.nameKeys, keys) << "cut at " << cut;
  }
}

TEST(KeyedEntriesTest, DroppedEntriesTakeTheirKeysAndTheRestKeepTheirs) {
  const NameCollator collator = NameCollator::forUser();
  KeyedEntries keyed;
  for (const std::string name : {".a", "b", ".c", ".d", "e\u00e9", "f", ".g"}) {
    keyed.entries.push_back({.name = name, .path = "/sdcard/" + name});
    keyed.nameKeys.add(collator.sortKey(name));
  }
  keyed.eraseIf([](const RemoteEntry& entry) { return entry.name.starts_with('.'); });
  ASSERT_EQ(keyed.entries.size(), 3u);
  ASSERT_EQ(keyed.nameKeys.size(), 3u);
  for (std::size_t i = 0; i < keyed.entries.size(); ++i)
    EXPECT_EQ(keyed.nameKeys[i], collator.sortKey(keyed.entries[i].name));
  keyed.eraseIf([](const RemoteEntry&) { return true; });
  EXPECT_TRUE(keyed.entries.empty());
  EXPECT_EQ(keyed.nameKeys, SortKeys());
}

TEST(RemoteListingTest, FindStatJoinsNamesWithTheirStatLines) {
  auto names = RemoteListing::parseNames(capture("find-print0.bin"), "/sdcard/Listing");
  EXPECT_EQ(names.size(), 12u);
  EXPECT_FALSE(RemoteListing::statable("new\nline"));
  EXPECT_TRUE(RemoteListing::statable("pipe|name"));
  auto stat = RemoteListing::parseStatLines(capture("stat-lines.txt"));
  EXPECT_EQ(stat.at("dangling"), (RemoteListing::StatInfo{Kind::symlink, 12, at(capturedAt)}));
  EXPECT_EQ(stat.at("Folder 10").kind, Kind::directory);
  EXPECT_EQ(stat.at("pipe|name").size, 1);
  auto entries = RemoteListing::joinNamesAndStat(stat, names, "/sdcard/Listing");
  // The name with a line break has no stat line of its own.
  EXPECT_EQ(entries.size(), 11u);
  EXPECT_EQ(named(entries, "new\nline"), nullptr);
  EXPECT_FALSE(named(entries, "latin1-caf\xe9")->exact);
  EXPECT_EQ(named(entries, std::string(awkward))->size, 3);
}

TEST(RemoteListingTest, LsRowsGiveNamesLinksAndDates) {
  const Timestamp now = at(capturedAt) + days(200);
  auto entries = RemoteListing::parseLs(capture("ls-la.txt"), "/sdcard/Listing", now, seconds(0));
  EXPECT_EQ(named(entries, "."), nullptr);
  EXPECT_EQ(named(entries, "line"), nullptr);
  const RemoteEntry* link = named(entries, "to-file");
  ASSERT_NE(link, nullptr);
  EXPECT_EQ(link->kind, Kind::symlink);
  EXPECT_EQ(link->path, "/sdcard/Listing/to-file");
  EXPECT_EQ(link->modified, at(capturedAt - 7));  // ls shows minutes only
  EXPECT_EQ(named(entries, "a b.txt")->size, 5);
  EXPECT_EQ(named(entries, "Folder 10")->kind, Kind::directory);
  // The tablet's ls writes "é" as one Latin-1 byte: shown, but not exact.
  const RemoteEntry* awkwardRow = named(entries, "it's [1] {2} (3) #!$%^&~`,;=+@ \xe9.pdf");
  ASSERT_NE(awkwardRow, nullptr);
  EXPECT_FALSE(awkwardRow->exact);
  EXPECT_FALSE(named(entries, "latin1-caf\xe9")->exact);
  EXPECT_NE(named(entries, "new"), nullptr);  // ls cannot tell a line break from a new row
}

TEST(RemoteListingTest, LsDatesInLocalTimeAndWithoutAYear) {
  const std::string text =
      "-rw-r--r-- 1 u0_a1 media_rw 10 2026-03-04 05:06 iso\n"
      "-rw-r--r-- 1 u0_a1 media_rw 11 Mar  4 05:06 recent\n"
      "-rw-r--r-- 1 u0_a1 media_rw 12 Dec 30 23:00 last year\n"
      "-rw-r--r-- 1 u0_a1 media_rw 13 Mar  4  2019 old\n"
      "crw-rw-rw- 1 root root 1,   3 2026-03-04 05:06 null\n";
  const Timestamp now = sys_days(2026y / 3 / 10) + hours(12);
  auto entries = RemoteListing::parseLs(text, "/sdcard", now, hours(1));
  ASSERT_EQ(entries.size(), 5u);
  EXPECT_EQ(named(entries, "iso")->modified, sys_days(2026y / 3 / 4) + hours(4) + minutes(6));
  EXPECT_EQ(named(entries, "recent")->modified, sys_days(2026y / 3 / 4) + hours(4) + minutes(6));
  EXPECT_EQ(named(entries, "last year")->modified, sys_days(2025y / 12 / 30) + hours(22));
  EXPECT_EQ(named(entries, "old")->modified, sys_days(2019y / 3 / 4) - hours(1));
  EXPECT_EQ(named(entries, "null")->kind, Kind::other);
}

TEST(RemoteListingTest, LsOfRealAndroidListings) {
  const std::string shared = LUMIVALE_ANDROID_OUTPUTS;
  std::string emulator = read(shared + "/ls-l-sdcard-android13-emulator-emu64x.txt");
  std::string byName = read(shared + "/ls-al-toybox-android13-galaxy-tab-a8-dev-block-by-name.txt");
  const Timestamp now = sys_days(2024y / 1 / 1);
  auto sdcard = RemoteListing::parseLs(emulator, "/sdcard", now, seconds(0));
  ASSERT_NE(named(sdcard, "Download"), nullptr);
  EXPECT_EQ(named(sdcard, "Download")->modified, sys_days(2023y / 4 / 19) + hours(1) + minutes(18));
  EXPECT_EQ(named(sdcard, "Android")->kind, Kind::directory);
  auto links = RemoteListing::parseLs(byName, "/sdcard", now, seconds(0));
  ASSERT_NE(named(links, "boot"), nullptr);
  EXPECT_EQ(named(links, "boot")->kind, Kind::symlink);
  EXPECT_EQ(named(links, "boot")->size, 21);
  EXPECT_EQ(named(links, ".."), nullptr);
}

// Tablets print what their clock or file system holds; a date our clock cannot hold is absent,
// and a number that fits nowhere is not a column.
TEST(RemoteListingTest, NumbersBeyondWhatTheyMeanLeaveTheDateOutOrTheRowOut) {
  using namespace std::string_literals;
  auto found = RemoteListing::parseFindPrintf(
      "-rw-r--r--|1|99999999999|/sdcard/far\0"s
      "-rw-r--r--|2|-99999999999.5|/sdcard/early\0"s
      "-rw-r--r--|3|9223372036854775807|/sdcard/last\0"s
      "-rw-r--r--|4|1700000000.25|/sdcard/near\0"s
      "-rw-r--r--|99999999999999999999|1|/sdcard/huge\0"s,
      "/sdcard", "/sdcard");
  ASSERT_EQ(found.size(), 4u);
  EXPECT_EQ(named(found, "far")->modified, std::nullopt);
  EXPECT_EQ(named(found, "early")->modified, std::nullopt);
  EXPECT_EQ(named(found, "last")->modified, std::nullopt);
  EXPECT_EQ(named(found, "near")->modified, at(1700000000) + milliseconds(250));

  auto stat = RemoteListing::parseStatLines(
      "81a4|1|99999999999|/sdcard/far\n81a4|1|1700000000|/sdcard/near\n");
  EXPECT_EQ(stat.at("far").modified, std::nullopt);
  EXPECT_EQ(stat.at("near").modified, at(1700000000));

  const std::string ls =
      "-rw-r--r-- 1 u0_a1 media_rw 10 9999-12-31 23:59 iso far\n"
      "-rw-r--r-- 1 u0_a1 media_rw 11 Mar  4  1066 old far\n"
      "-rw-r--r-- 1 u0_a1 media_rw 12 Mar 99999999999999999999 05:06 no day\n"
      "-rw-r--r-- 1 u0_a1 media_rw 13 Mar x 05:06 day of words\n"
      "-rw-r--r-- 1 u0_a1 media_rw 14 2026-03-04 -1:06 negative hour\n";
  auto rows = RemoteListing::parseLs(ls, "/sdcard", at(1700000000), seconds(0));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(named(rows, "iso far")->modified, std::nullopt);
  EXPECT_EQ(named(rows, "old far")->modified, std::nullopt);
}

TEST(RemoteListingTest, FolderTargetsAreTheLinksFindFollowsToFolders) {
  auto folders = RemoteListing::folderTargets(capture("find-L-dirs.bin"), "/sdcard/Listing");
  EXPECT_TRUE(folders.count("to-books"));
  EXPECT_FALSE(folders.count("to-file"));
  EXPECT_FALSE(folders.count("dangling"));
}

TEST(RemoteListingTest, RawModesGiveKinds) {
  EXPECT_EQ(RemoteListing::kindOfRawMode("41ed"), Kind::directory);
  EXPECT_EQ(RemoteListing::kindOfRawMode("81a4"), Kind::file);
  EXPECT_EQ(RemoteListing::kindOfRawMode("a1ff"), Kind::symlink);
  EXPECT_EQ(RemoteListing::kindOfRawMode("21b6"), Kind::other);
  EXPECT_EQ(RemoteListing::kindOfRawMode("zz"), Kind::other);
}

TEST(RemoteEntryTest, ALinkToAFolderCountsAsAFolder) {
  RemoteEntry link{.name = "to-books", .path = "/sdcard/to-books", .kind = Kind::symlink};
  EXPECT_FALSE(link.isFolder());
  link.targetIsDirectory = true;
  EXPECT_TRUE(link.isFolder());
  RemoteEntry mismatched{.name = "a.pdf", .path = "/sdcard/b.pdf", .kind = Kind::file};
  EXPECT_FALSE(mismatched.isOperable());
  RemoteEntry outside{.name = "a.pdf", .path = "/data/a.pdf", .kind = Kind::file};
  EXPECT_FALSE(outside.isOperable());
}

TEST(RemoteEntryTest, OnlyAnExactValidNameAtItsNormalPathCanBeActedOn) {
  auto entry = [](std::string name, std::string path) {
    return RemoteEntry{.name = std::move(name), .path = std::move(path), .kind = Kind::file};
  };
  EXPECT_TRUE(entry("a.pdf", "/sdcard/Books/a.pdf").isOperable());
  EXPECT_TRUE(entry("a.pdf", "/storage/emulated/0/a.pdf").isOperable());
  EXPECT_FALSE(entry("a.pdf", "/sdcard//a.pdf").isOperable());
  EXPECT_FALSE(entry("a.pdf", "/sdcard/./a.pdf").isOperable());
  EXPECT_FALSE(entry("a.pdf", "a.pdf").isOperable());
  EXPECT_FALSE(entry("a.pdf", "/a.pdf").isOperable());
  EXPECT_FALSE(entry("what?.pdf", "/sdcard/what?.pdf").isOperable());
  EXPECT_FALSE(entry("..", "/sdcard/..").isOperable());
  auto unread = entry("caf\xe9", "/sdcard/caf\xe9");
  EXPECT_TRUE(unread.isOperable());
  unread.exact = false;
  EXPECT_FALSE(unread.isOperable());
}

TEST(RemoteEntryTest, TheJsonLineIsValidJsonOfEveryField) {
  const RemoteEntry awkward{
      .name = "say \"hi\"\\\té.pdf",
      .path = "/sdcard/say \"hi\"\\\té.pdf",
      .kind = Kind::file,
      .size = 1234567890123,
      .modified = Timestamp(duration_cast<Timestamp::duration>(duration<double>(1700000000.25)))};
  const RemoteEntry unread{
      .name = "caf\xe9", .path = "/sdcard/caf\xe9", .kind = Kind::directory, .exact = false};
  for (const auto& entry : {awkward, unread}) {
    std::string line;
    appendJson(line, entry);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    auto parsed = nlohmann::json::parse(line);
    EXPECT_EQ(parsed["exact"], entry.exact);
    EXPECT_EQ(parsed["kind"], std::string(rawValue(entry.kind)));
    EXPECT_EQ(parsed["size"], entry.size);
    EXPECT_EQ(parsed.dump(), line);  // the order and form a dump of the tree gives
  }
  std::string line;
  appendJson(line, awkward);
  auto parsed = nlohmann::json::parse(line);
  EXPECT_EQ(parsed["name"], awkward.name);
  EXPECT_NEAR(parsed["modified"].get<double>(), 1700000000.25, 1e-6);
  appendJson(line = "", unread);
  parsed = nlohmann::json::parse(line);
  EXPECT_EQ(parsed["name"], "caf\\xE9");
  EXPECT_TRUE(parsed["modified"].is_null());
}

}  // namespace
}  // namespace lumivale
