#include "core/files/remote_sort.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace lumivale {
namespace {

using Kind = RemoteEntry::Kind;

std::vector<std::string> names(const std::vector<RemoteEntry>& entries) {
  std::vector<std::string> out;
  for (const auto& entry : entries)
    out.push_back(entry.name);
  return out;
}

std::string kindName(const RemoteEntry& entry) {
  return entry.isFolder() ? "Folder" : "Document";
}

RemoteEntry file(std::string name, std::int64_t size = 0, std::optional<int> day = {}) {
  RemoteEntry entry{.name = name, .path = "/sdcard/" + name, .kind = Kind::file, .size = size};
  if (day) entry.modified = Timestamp(std::chrono::hours(24 * *day));
  return entry;
}

TEST(RemoteSortTest, NamesCompareLikeFinder) {
  auto sorted = RemoteSort::sorted(
      {file("file10"), file("File2"), file("file1"), file("b"), file("A"), file("file02x")},
      RemoteSort::Key::name, true, kindName);
  EXPECT_EQ(names(sorted),
            (std::vector<std::string>{"A", "b", "file1", "File2", "file02x", "file10"}));
  EXPECT_LT(RemoteSort::compareNames("a", "A") * RemoteSort::compareNames("A", "a"), 0);
  EXPECT_EQ(RemoteSort::compareNames("x", "x"), 0);
}

TEST(RemoteSortTest, NamesSortTheWayPeopleExpect) {
  // Accents and case count after the letters; other scripts after Latin; numbers by value.
  auto sorted = RemoteSort::sorted(
      {file("Zebra"), file("Жук"), file("éclair"), file("Report 10"), file("apple"), file("Eclair"),
       file("report 9"), file("Ωmega"), file("zebra"), file("eclair")},
      RemoteSort::Key::name, true, kindName);
  EXPECT_EQ(names(sorted),
            (std::vector<std::string>{"apple", "eclair", "Eclair", "éclair", "report 9",
                                      "Report 10", "zebra", "Zebra", "Ωmega", "Жук"}));
}

TEST(RemoteSortTest, TiesFallBackToNameOrder) {
  auto bySize = RemoteSort::sorted({file("c", 5), file("a", 5), file("b", 1)},
                                   RemoteSort::Key::size, false, kindName);
  EXPECT_EQ(names(bySize), (std::vector<std::string>{"a", "c", "b"}));
  auto byDate =
      RemoteSort::sorted({file("z", 0, 3), file("y", 0, 3), file("undated"), file("x", 0, 1)},
                         RemoteSort::Key::modified, true, kindName);
  EXPECT_EQ(names(byDate), (std::vector<std::string>{"undated", "x", "y", "z"}));
  RemoteEntry folder{.name = "m", .path = "/sdcard/m", .kind = Kind::directory};
  auto byKind =
      RemoteSort::sorted({file("b"), folder, file("a")}, RemoteSort::Key::kind, true, kindName);
  EXPECT_EQ(names(byKind), (std::vector<std::string>{"a", "b", "m"}));
}

TEST(RemoteSortTest, DescendingNameOrderIsTheReverse) {
  auto sorted = RemoteSort::sorted({file("a2"), file("a10"), file("a1")}, RemoteSort::Key::name,
                                   false, kindName);
  EXPECT_EQ(names(sorted), (std::vector<std::string>{"a10", "a2", "a1"}));
  // Names alike far beyond their first letters are told apart by their ends, either way.
  const std::vector<RemoteEntry> alike{file("x"), file("x alike for a long while 2"),
                                       file("x alike for a long while 1"), file("y")};
  EXPECT_EQ(names(RemoteSort::sorted(alike, RemoteSort::Key::name, true, kindName)),
            (std::vector<std::string>{"x", "x alike for a long while 1",
                                      "x alike for a long while 2", "y"}));
  EXPECT_EQ(names(RemoteSort::sorted(alike, RemoteSort::Key::name, false, kindName)),
            (std::vector<std::string>{"y", "x alike for a long while 2",
                                      "x alike for a long while 1", "x"}));
}

TEST(RemoteSortTest, ALongListSortsAsItsNamesCompare) {
  // Long enough that its keys are made in parts; written backwards, mixing case and numbers.
  std::vector<RemoteEntry> entries;
  for (int i = 2999; i >= 0; --i)
    entries.push_back(
        file((i % 2 ? "Page " : "page ") + std::to_string(i % 1000) + "-" + std::to_string(i)));
  std::vector<std::string> expected = names(entries);
  std::sort(expected.begin(), expected.end(),
            [](const auto& a, const auto& b) { return RemoteSort::compareNames(a, b) < 0; });
  for (auto by : {RemoteSort::Key::name, RemoteSort::Key::kind}) {
    const auto sorted = RemoteSort::sorted(entries, by, true, kindName);
    EXPECT_EQ(names(sorted), expected);
    // Each entry keeps all of its fields through the sort.
    EXPECT_TRUE(std::all_of(sorted.begin(), sorted.end(), [](const auto& entry) {
      return entry.path == "/sdcard/" + entry.name;
    }));
  }
  auto descending = RemoteSort::sorted(entries, RemoteSort::Key::name, false, kindName);
  std::reverse(descending.begin(), descending.end());
  EXPECT_EQ(names(descending), expected);
}

}  // namespace
}  // namespace lumivale
