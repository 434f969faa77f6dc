// The three listing formats of a tablet folder, the Reading folder's tree, and the identity
// line of one item.
#include <chrono>

#include "core/files/adb_files.h"
#include "core/files/reading-folder/reading_tree.h"
#include "core/files/remote_listing.h"
#include "fuzz/fuzz_input.h"

using namespace lumivale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace std::chrono;
  auto input = FuzzInput::text(data, size);
  RemoteListing::parseFindPrintf(input, "/sdcard/Listing", "/sdcard/Listing");
  ReadingTree::parse(input, "/sdcard/Listing");
  auto [names, statLines] = FuzzInput::halves(input);
  RemoteListing::joinNamesAndStat(RemoteListing::parseStatLines(statLines),
                                  RemoteListing::parseNames(names, "/sdcard/Listing"), "/sdcard");
  RemoteListing::parseStatLines(input);
  RemoteListing::folderTargets(input, "/sdcard/Listing");
  // A fixed now: the listing must not depend on when the fuzzer runs.
  const Timestamp now = sys_days(2026y / 3 / 10);
  for (auto offset : {minutes(0), minutes(-12 * 60), minutes(14 * 60 + 45)})
    RemoteListing::parseLs(input, "/sdcard", now, offset);
  AdbFiles::kind(input);
  AdbFiles::size(input);
  return 0;
}
