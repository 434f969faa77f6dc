#include <fmt/format.h>

#include <future>

#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"

namespace lumivale {

using namespace files_detail;

namespace {

// How often a cancel is looked for, and how often the arriving copy is measured for
// progress and the byte cap (each measure on the tablet is an adb run of its own, taking
// a little of the machine the copy itself needs).
constexpr std::chrono::milliseconds cancelInterval{100};
constexpr std::chrono::milliseconds sampleInterval{1000};

// A copy may take this long plus one second for each 2 MiB.
constexpr Seconds transferBaseTimeout{300};
constexpr std::uint64_t bytesPerSecondAtWorst = 2 * 1024 * 1024;

}  // namespace

void AdbFiles::transfer(const std::vector<std::string>& arguments,
                        const std::function<std::uint64_t()>& sample,
                        std::optional<std::uint64_t> total, std::uint64_t cap,
                        TransferObserver* progress, ToolCancel* cancel) const {
  const Seconds timeout =
      transferBaseTimeout + Seconds(static_cast<double>(total.value_or(0) / bytesPerSecondAtWorst));
  auto report = [&](std::uint64_t done) {
    if (progress)
      progress->notify(
          TransferProgress{static_cast<std::int64_t>(done),
                           total ? std::optional<std::int64_t>(*total) : std::nullopt});
  };
  // Our own stop, so the caller's cancel and the byte cap both end the adb run.
  ToolCancel stop;
  auto running = std::async(std::launch::async,
                            [&] { return runner_->run(serial_, arguments, timeout, &stop); });
  bool grewPastCap = false;
  try {
    report(0);
    auto lastSample = std::chrono::steady_clock::now();
    while (running.wait_for(cancelInterval) != std::future_status::ready) {
      if (cancel && cancel->isCancelled()) {
        stop.cancel();
        continue;
      }
      if (std::chrono::steady_clock::now() - lastSample < sampleInterval) continue;
      lastSample = std::chrono::steady_clock::now();
      std::uint64_t done = 0;
      try {
        done = sample();
      } catch (const Error&) {
        continue;  // a missed sample only delays the bar
      }
      if (done > cap) {
        grewPastCap = true;
        stop.cancel();
        continue;
      }
      report(done);
    }
  } catch (...) {
    // The adb run must not outlive this call (the future's end waits for it).
    stop.cancel();
    throw;
  }
  const ToolRun run = running.get();
  if (grewPastCap)
    throw FilesError::refused(
        fmt::format("the copy grew past {} and was stopped; nothing was kept", byteCount(cap)));
  if (run.cancelled || (cancel && cancel->isCancelled())) throw Cancelled();
  const std::string& command = arguments.front();
  if (run.timedOut)
    throw FilesError::refused(
        fmt::format("adb {} did not finish within {:.0f} s", command, timeout.count()));
  if (run.status != 0) {
    std::string said = firstLine(run.stderrData);
    if (said.empty()) said = firstLine(run.stdoutData);
    throw FilesError::refused(
        fmt::format("adb {} exited {}: {}", command, run.status, displayable(said)));
  }
  if (total) report(*total);
}

}  // namespace lumivale
