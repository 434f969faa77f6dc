#include <fmt/format.h>

#include <future>

#include "core/cancelled.h"
#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"

namespace lumivale {

using namespace files_detail;

namespace {

// How often the arriving copy is measured for progress and the byte cap (each measure on
// the tablet is an adb run of its own, taking a little of the machine the copy needs).
constexpr std::chrono::milliseconds sampleInterval{1000};

// A copy that has not moved for this long has a tablet that stopped answering behind it,
// whatever time its size would allow.
constexpr Seconds stallLimit{30};

// A copy may take this long plus one second for each 2 MiB.
constexpr Seconds transferBaseTimeout{300};
constexpr std::uint64_t bytesPerSecondAtWorst = 2 * 1024 * 1024;

}  // namespace

void AdbFiles::transfer(const std::vector<std::string>& arguments,
                        const std::function<std::uint64_t()>& sample,
                        std::optional<std::uint64_t> total, std::uint64_t cap,
                        TransferObserver* progress) const {
  const Seconds timeout =
      stop_.budget(transferBaseTimeout +
                   Seconds(static_cast<double>(total.value_or(0) / bytesPerSecondAtWorst)));
  auto report = [&](std::uint64_t done) {
    if (progress)
      progress->notify(
          TransferProgress{static_cast<std::int64_t>(done),
                           total ? std::optional<std::int64_t>(*total) : std::nullopt});
  };
  // A child of the caller's token: its cancel kills the adb run at once, and so does
  // ours when the copy grows past the cap.
  const StopToken stop = stop_.child();
  auto running = std::async(std::launch::async,
                            [&] { return runner_->run(serial_, arguments, timeout, &stop); });
  bool grewPastCap = false;
  bool stalled = false;
  try {
    report(0);
    using Clock = std::chrono::steady_clock;
    auto lastMoved = Clock::now();
    std::optional<std::uint64_t> lastDone;
    while (running.wait_for(sampleInterval) != std::future_status::ready) {
      if (stop.isCancelled()) continue;
      std::optional<std::uint64_t> done;
      try {
        done = sample();
      } catch (const Error&) {
        // A missed sample only delays the bar, unless nothing moves for too long.
      }
      if (done && done != lastDone) {
        lastDone = done;
        lastMoved = Clock::now();
      } else if (Clock::now() - lastMoved >= stallLimit) {
        stalled = true;
        stop.cancel();
        continue;
      }
      if (!done) continue;
      if (*done > cap) {
        grewPastCap = true;
        stop.cancel();
        continue;
      }
      report(*done);
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
  if (stop_.isCancelled()) throw Cancelled();
  if (stalled) throw FilesError::refused(TabletShell::notAnswering());
  if (run.cancelled) throw Cancelled();
  const std::string command = "adb " + arguments.front();
  if (run.timedOut) throw FilesError::refused(TabletShell::notAnswering());
  if (run.status != 0) {
    std::string said = firstLine(run.stderrData);
    if (said.empty()) said = firstLine(run.stdoutData);
    throw FilesError::refused(TabletShell::exited(command, run.status, displayable(said)));
  }
  if (total) report(*total);
}

}  // namespace lumivale
