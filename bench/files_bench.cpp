// Files on the stand-in tablet through the real adb, against the bare adb commands doing
// the same work, measured in one run and reported as ratios. Run as root (the stand-in
// chroots): build/bench/bench/files_bench [--quick] [--listing] [--plain-storage] [--one-core]
// (--listing: the listings alone, without the transfers; --plain-storage: the stand-in's
// storage as a plain folder, without its FUSE layer; --one-core: everything, the stand-in
// and adb's server included, on one processor. On two cores a listing's time falls into
// two modes some 40 ms apart at random, for bare adb as for us; on one, each run costs
// the work it does, and the ratio holds from one run of the bench to the next.)
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <vector>

#include <fmt/format.h>

#include "core/files/adb_files.h"
#include "core/tablet/adb_bridge.h"
#include "core/tablet/adb_locate.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t MiB = 1024 * 1024;

// Every adb run of both sides goes the same way: the real adb, through the bridge.
struct Timings {
  double ours;
  double bare;
  // The fastest run of each: on a busy machine the nearest to what each costs by itself.
  double oursBest;
  double bareBest;
};

double medianOf(std::vector<double> seconds) {
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
}

double timed(const std::function<void()>& work) {
  // Dirty pages of the previous run would otherwise be written back during this one.
  ::sync();
  auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Median wall times of `runs` calls of each side, taken in turns so that both meet the
// same machine; `prepare` runs before every call and is not timed.
Timings compare(
    int runs, const std::function<void()>& ours, const std::function<void()>& bare,
    const std::function<void()>& prepare = [] {}) {
  std::vector<double> oursSeconds, bareSeconds;
  for (int i = 0; i < runs; ++i) {
    prepare();
    bareSeconds.push_back(timed(bare));
    prepare();
    oursSeconds.push_back(timed(ours));
  }
  return {medianOf(oursSeconds), medianOf(bareSeconds),
          *std::min_element(oursSeconds.begin(), oursSeconds.end()),
          *std::min_element(bareSeconds.begin(), bareSeconds.end())};
}

void writeNoise(const fs::path& path, std::uint64_t size) {
  std::ofstream out(path, std::ios::binary);
  std::vector<char> block(4 * MiB);
  std::uint64_t state = 0x9e3779b97f4a7c15ull;
  for (std::uint64_t written = 0; written < size; written += block.size()) {
    for (std::size_t at = 0; at < block.size(); at += 8) {
      state ^= state << 13;
      state ^= state >> 7;
      state ^= state << 17;
      std::memcpy(block.data() + at, &state, 8);
    }
    out.write(block.data(),
              static_cast<std::streamsize>(std::min<std::uint64_t>(block.size(), size - written)));
  }
}

long peakRssKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void check(const ToolRun& run, const char* what) {
  if (run.status != 0)
    throw Error(fmt::format("{} failed: {}", what, run.stderrData + run.stdoutData));
}

void report(const char* what, double ours, double bare, const char* goal) {
  std::cout << fmt::format("{:<52} {:>9.3f} s {:>9.3f} s {:>7.2f}x   {}\n", what, ours, bare,
                           ours / bare, goal);
}

// Medians, and the ratio of the fastest runs after the goal.
void report(const char* what, const Timings& timings, const char* goal) {
  report(what, timings.ours, timings.bare,
         fmt::format("{}  (fastest runs: {:.2f}x)", goal, timings.oursBest / timings.bareBest)
             .c_str());
}

// `lumivale ARGS...` as a user types it, for the stand-in as the cabled tablet.
ToolRun lumivaleCommand(const testing::StandinTablet& tablet, const fs::path& settings,
                        std::vector<std::string> arguments) {
  Environment environment = tablet.adbEnvironment();
  environment["LUMIVALE_CONFIG_DIR"] = settings.string();
  environment["LUMIVALE_STANDIN_SERIAL"] = tablet.serial();
  arguments.insert(arguments.begin(), {"--serial", tablet.serial()});
  return ToolRun::runIn(environment, LUMIVALE_CLI, arguments, Seconds(600));
}

int run(bool quick, bool listingOnly, bool plainStorage) {
  testing::StandinTablet tablet(plainStorage ? testing::StandinOptions().withPlainStorage()
                                             : testing::StandinOptions());
  // Debian's adb, run by the bridge the program itself uses, which knows adb's version as
  // the program does and so may ask adb's server for shell commands itself.
  AdbBridge bridge("/usr/bin/adb", tablet.adbEnvironment(), {},
                   AdbLocate::answeredVersion("/usr/bin/adb"));
  // The same adb for the bare runs, always started as a user would.
  AdbBridge bareBridge("/usr/bin/adb", tablet.adbEnvironment());
  AdbFiles files(bridge, tablet.serial(), TransferLimits::standard(),
                 std::make_shared<ListingFormatCache>());
  const fs::path storage = tablet.storageFolder();
  std::string pattern = (fs::temp_directory_path() / "lumivale-bench-XXXXXX").string();
  const fs::path local = ::mkdtemp(pattern.data());
  // A listing of 10,000 entries takes some 50 ms, and varies by a fifth from run to run.
  const int runs = quick ? 1 : 21;
  std::cout << fmt::format("{:<52} {:>11} {:>11} {:>8}   {}\n", "", "lumivale", "bare adb", "ratio",
                           "goal");

  auto bare = [&](std::vector<std::string> arguments, const char* what) {
    check(bareBridge.run(tablet.serial(), arguments, Seconds(3600), nullptr), what);
  };
  const int transferRuns = quick ? 1 : 3;

  // Listing a folder of 10,000 entries.
  const std::size_t entries = 10'000;
  fs::create_directories(storage / "Big");
  for (std::size_t i = 0; i < entries; ++i)
    std::ofstream(storage / "Big" / fmt::format("document {:05}.pdf", i)) << i;
  files.list("/sdcard/Big", false);  // finds and remembers the format
  const Timings listing = compare(
      runs,
      [&] {
        if (files.list("/sdcard/Big", false).size() != entries) throw Error("short listing");
      },
      [&] {
        bare({"shell", "find /sdcard/Big/ -mindepth 1 -maxdepth 1 -printf '%M|%s|%T@|' -print0"},
             "find");
      });
  report("list 10,000 entries vs adb shell find -printf", listing, "<= 1.1x");
  // The whole command, from its start to the last line printed, on the same storage.
  fs::create_directories(local / "settings");
  for (const bool json : {false, true}) {
    std::vector<std::string> arguments{"files", "ls", "Big"};
    if (json) arguments.push_back("--json");
    const Timings command = compare(
        runs,
        [&] {
          ToolRun listed = lumivaleCommand(tablet, local / "settings", arguments);
          check(listed, "lumivale files ls");
          if (std::count(listed.stdoutData.begin(), listed.stdoutData.end(), '\n') <
              static_cast<std::ptrdiff_t>(entries))
            throw Error("short listing from lumivale files ls");
        },
        [&] {
          bare({"shell", "find /sdcard/Big/ -mindepth 1 -maxdepth 1 -printf '%M|%s|%T@|' -print0"},
               "find");
        });
    report(json ? "lumivale files ls --json (10,000) vs adb shell find"
                : "lumivale files ls (10,000) vs adb shell find",
           command, "<= 1.2x");
  }
  // One adb shell stat per entry, timed on a sample and scaled to the whole folder.
  const std::size_t sample = quick ? 20 : 200;
  const double perStat = timed([&] {
    for (std::size_t i = 0; i < sample; ++i)
      bare({"shell", fmt::format("stat -c '%f|%s|%Y|%n' -- '/sdcard/Big/document {:05}.pdf'", i)},
           "stat");
  });
  report("list 10,000 entries vs one adb shell stat per entry*", listing.ours,
         perStat * static_cast<double>(entries) / static_cast<double>(sample), "(far below 1x)");
  fs::remove_all(storage / "Big");
  if (listingOnly) {
    fs::remove_all(local);
    return 0;
  }

  // Push and pull of one large file.
  const std::uint64_t bigBytes = quick ? 64 * MiB : 1024 * MiB;
  const fs::path big = local / "big.bin";
  writeNoise(big, bigBytes);
  const long rssBefore = peakRssKiB();
  const std::string size = fmt::format("{} MiB", bigBytes / MiB);
  auto throughput = [&](const std::string& what, const Timings& timings) {
    std::cout << fmt::format("{:<52} {:>7.1f} MB/s {:>6.1f} MB/s {:>6.2f}x   >= 0.9x\n",
                             what + " (throughput)", bigBytes / timings.ours / 1e6,
                             bigBytes / timings.bare / 1e6, timings.bare / timings.ours);
  };
  throughput(
      "push " + size,
      compare(
          transferRuns, [&] { files.push(big, "/sdcard", std::nullopt, CollisionPolicy::ask); },
          [&] {
            bare({"push", big.string(), "/sdcard/big.bin"}, "adb push");
          },
          [&] { fs::remove(storage / "big.bin"); }));
  throughput(
      "pull " + size,
      compare(
          transferRuns, [&] { files.pull("/sdcard/big.bin", local / "back.bin"); },
          [&] {
            bare({"pull", "-a", "/sdcard/big.bin", (local / "back.bin").string()}, "adb pull");
          },
          [&] { fs::remove(local / "back.bin"); }));
  std::cout << fmt::format(
      "peak RSS of this process: {} KiB before the transfers, {} KiB after them\n", rssBefore,
      peakRssKiB());
  fs::remove(big);
  fs::remove(local / "back.bin");
  fs::remove(storage / "big.bin");

  // A folder of 1,000 small files.
  const fs::path folder = local / "Small";
  fs::create_directories(folder);
  for (int i = 0; i < 1000; ++i)
    std::ofstream(folder / fmt::format("note {:04}.txt", i)) << std::string(2048, 'n');
  const Timings small = compare(
      transferRuns, [&] { files.push(folder, "/sdcard", std::nullopt, CollisionPolicy::ask); },
      [&] {
        bare({"push", folder.string(), "/sdcard/Small"}, "adb push");
      },
      [&] { fs::remove_all(storage / "Small"); });
  report("push a folder of 1,000 small files vs adb push", small.ours, small.bare, "(near 1x)");
  std::cout << "* one stat per entry is timed on " << sample << " entries and scaled to " << entries
            << "\n";
  fs::remove_all(local);
  return 0;
}

}  // namespace
}  // namespace lumivale

int main(int argc, char** argv) {
  bool quick = false, listingOnly = false, plainStorage = false, oneCore = false;
  for (int i = 1; i < argc; ++i) {
    quick = quick || std::string(argv[i]) == "--quick";
    listingOnly = listingOnly || std::string(argv[i]) == "--listing";
    plainStorage = plainStorage || std::string(argv[i]) == "--plain-storage";
    oneCore = oneCore || std::string(argv[i]) == "--one-core";
  }
  if (oneCore) {
    // Set before anything starts, so that every process of the bench inherits it.
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(std::max(0, ::sched_getcpu())), &one);
    if (::sched_setaffinity(0, sizeof one, &one) != 0) {
      std::cerr << "files_bench: cannot keep to one processor: " << std::strerror(errno) << "\n";
      return 1;
    }
  }
  try {
    return lumivale::run(quick, listingOnly, plainStorage);
  } catch (const lumivale::Error& error) {
    std::cerr << "files_bench: " << error.message() << "\n";
    return 1;
  }
}
