// Files on the stand-in tablet through the real adb, against the bare adb commands doing
// the same work, measured in one run and reported as ratios. Run as root (the stand-in
// chroots): build/bench/bench/files_bench [--quick]
#include <sys/resource.h>

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
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t MiB = 1024 * 1024;

class TabletRunner : public AdbFileRunner {
 public:
  explicit TabletRunner(const testing::StandinTablet& tablet) : tablet_(tablet) {}
  ToolRun run(const std::string&, const std::vector<std::string>& arguments, Seconds timeout,
              ToolCancel* cancel) override {
    std::vector<std::string> all{"-s", tablet_.serial()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return ToolRun::runIn(tablet_.adbEnvironment(), "/usr/bin/adb", all, timeout, cancel);
  }

 private:
  const testing::StandinTablet& tablet_;
};

// Every adb run of both sides goes the same way: the real adb, started by ToolRun.
// The median wall time of `runs` calls, each after `prepare`.
double median(
    int runs, const std::function<void()>& work, const std::function<void()>& prepare = [] {}) {
  std::vector<double> seconds;
  for (int i = 0; i < runs; ++i) {
    prepare();
    auto start = Clock::now();
    work();
    seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
  }
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
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

int run(bool quick) {
  testing::StandinTablet tablet;
  TabletRunner runner(tablet);
  AdbFiles files(runner, tablet.serial(), TransferLimits::standard(),
                 std::make_shared<ListingFormatCache>());
  const fs::path storage = tablet.storageFolder();
  std::string pattern = (fs::temp_directory_path() / "lumivale-bench-XXXXXX").string();
  const fs::path local = ::mkdtemp(pattern.data());
  const int runs = quick ? 1 : 5;
  std::cout << fmt::format("{:<52} {:>11} {:>11} {:>8}   {}\n", "", "lumivale", "bare adb", "ratio",
                           "goal");

  // Listing a folder of 10,000 entries.
  const std::size_t entries = 10'000;
  fs::create_directories(storage / "Big");
  for (std::size_t i = 0; i < entries; ++i)
    std::ofstream(storage / "Big" / fmt::format("document {:05}.pdf", i)) << i;
  files.list("/sdcard/Big", false);  // finds and remembers the format
  const double listing = median(runs, [&] {
    if (files.list("/sdcard/Big", false).size() != entries) throw Error("short listing");
  });
  const double bareFind = median(runs, [&] {
    check(
        runner.run(
            "", {"shell", "find /sdcard/Big/ -mindepth 1 -maxdepth 1 -printf '%M|%s|%T@|' -print0"},
            Seconds(600), nullptr),
        "find");
  });
  report("list 10,000 entries vs adb shell find -printf", listing, bareFind, "<= 1.2x");
  // One adb shell stat per entry, timed on a sample and scaled to the whole folder.
  const std::size_t sample = quick ? 20 : 200;
  const double perStat = median(1, [&] {
    for (std::size_t i = 0; i < sample; ++i)
      check(runner.run("",
                       {"shell", fmt::format("stat -c '%f|%s|%Y|%n' -- "
                                             "'/sdcard/Big/document {:05}.pdf'",
                                             i)},
                       Seconds(60), nullptr),
            "stat");
  });
  report("list 10,000 entries vs one adb shell stat per entry*", listing,
         perStat * static_cast<double>(entries) / static_cast<double>(sample), "(far below 1x)");
  fs::remove_all(storage / "Big");

  // Push and pull of one large file.
  const std::uint64_t bigBytes = quick ? 64 * MiB : 1024 * MiB;
  const fs::path big = local / "big.bin";
  writeNoise(big, bigBytes);
  const long rssBefore = peakRssKiB();
  const double barePush = median(
      runs > 1 ? 3 : 1,
      [&] {
        check(runner.run("", {"push", big.string(), "/sdcard/raw.bin"}, Seconds(3600), nullptr),
              "adb push");
      },
      [&] { fs::remove(storage / "raw.bin"); });
  const double ourPush = median(
      runs > 1 ? 3 : 1, [&] { files.push(big, "/sdcard", std::nullopt, CollisionPolicy::replace); },
      [&] { fs::remove(storage / "big.bin"); });
  const std::string size = fmt::format("{} MiB", bigBytes / MiB);
  std::cout << fmt::format("{:<52} {:>9.1f} MB/s {:>6.1f} MB/s {:>6.2f}x   >= 0.9x\n",
                           "push " + size + " (throughput)", bigBytes / ourPush / 1e6,
                           bigBytes / barePush / 1e6, barePush / ourPush);
  const double barePull = median(
      runs > 1 ? 3 : 1,
      [&] {
        check(runner.run("", {"pull", "-a", "/sdcard/raw.bin", (local / "raw-back.bin").string()},
                         Seconds(3600), nullptr),
              "adb pull");
      },
      [&] { fs::remove(local / "raw-back.bin"); });
  const double ourPull = median(
      runs > 1 ? 3 : 1, [&] { files.pull("/sdcard/big.bin", local / "back.bin"); },
      [&] { fs::remove(local / "back.bin"); });
  std::cout << fmt::format("{:<52} {:>9.1f} MB/s {:>6.1f} MB/s {:>6.2f}x   >= 0.9x\n",
                           "pull " + size + " (throughput)", bigBytes / ourPull / 1e6,
                           bigBytes / barePull / 1e6, barePull / ourPull);
  const long rssAfter = peakRssKiB();
  std::cout << fmt::format(
      "peak RSS of this process: {} KiB before the transfers, {} KiB after "
      "({} MiB moved each way)\n",
      rssBefore, rssAfter, bigBytes / MiB * 2);
  fs::remove(big);
  fs::remove(storage / "raw.bin");
  fs::remove(storage / "big.bin");

  // A folder of 1,000 small files.
  const fs::path folder = local / "Small";
  fs::create_directories(folder);
  for (int i = 0; i < 1000; ++i)
    std::ofstream(folder / fmt::format("note {:04}.txt", i)) << std::string(2048, 'n');
  const double bareFolder = median(
      runs > 1 ? 3 : 1,
      [&] {
        check(runner.run("", {"push", folder.string(), "/sdcard/RawSmall"}, Seconds(600), nullptr),
              "adb push");
      },
      [&] { fs::remove_all(storage / "RawSmall"); });
  const double ourFolder = median(
      runs > 1 ? 3 : 1,
      [&] { files.push(folder, "/sdcard", std::nullopt, CollisionPolicy::replace); },
      [&] { fs::remove_all(storage / "Small"); });
  report("push a folder of 1,000 small files vs adb push", ourFolder, bareFolder, "(near 1x)");
  std::cout << "* one stat per entry is timed on " << sample << " entries and scaled to " << entries
            << "\n";
  fs::remove_all(local);
  return 0;
}

}  // namespace
}  // namespace lumivale

int main(int argc, char** argv) {
  const bool quick = argc > 1 && std::string(argv[1]) == "--quick";
  try {
    return lumivale::run(quick);
  } catch (const lumivale::Error& error) {
    std::cerr << "files_bench: " << error.message() << "\n";
    return 1;
  }
}
