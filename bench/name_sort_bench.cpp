// Sorting a large folder by name in the user's locale: the time the Files pane takes to
// order 10,000 entries, with a key per name against a collator comparison per step.
//   cmake --build --preset bench --target name_sort_bench && build/bench/bench/name_sort_bench
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "core/files/name_collator.h"
#include "core/files/remote_sort.h"

namespace lumivale {
namespace {

// Names as a folder holds them: numbered scans, accented and other scripts, mixed case.
std::vector<RemoteEntry> folder(std::size_t count) {
  static const char* stems[] = {"Scan", "scan",  "Éclair", "résumé",
                                "Жук",  "Ωmega", "日本",   "Zebra"};
  std::vector<RemoteEntry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    std::string name = fmt::format("{} {}.pdf", stems[i % std::size(stems)], i);
    entries.push_back(
        {.name = name, .path = "/sdcard/Big/" + name, .kind = RemoteEntry::Kind::file});
  }
  std::shuffle(entries.begin(), entries.end(), std::mt19937(7));
  return entries;
}

std::string kindName(const RemoteEntry&) {
  return "PDF document";
}

void sortByName(benchmark::State& state) {
  const auto entries = folder(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(RemoteSort::sorted(entries, RemoteSort::Key::name, true, kindName));
}
BENCHMARK(sortByName)->Arg(10'000)->Unit(benchmark::kMillisecond);

void sortComparingEachStep(benchmark::State& state) {
  const auto entries = folder(static_cast<std::size_t>(state.range(0)));
  const NameCollator collator = NameCollator::forUser();
  for (auto _ : state) {
    auto copy = entries;
    std::stable_sort(copy.begin(), copy.end(), [&](const RemoteEntry& a, const RemoteEntry& b) {
      return collator.compare(a.name, b.name) < 0;
    });
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(sortComparingEachStep)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumivale

BENCHMARK_MAIN();
