#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "core/files/transfer.h"

namespace lumivale::cli {

// A one-line progress bar on the terminal for a long copy: bytes, rate and time left.
// Quiet when asked to be, or when standard error is not a terminal.
class ProgressBar : public TransferObserver {
 public:
  ProgressBar(std::string label, bool quiet);
  ~ProgressBar() override;
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // May be called from any thread.
  void notify(const TransferProgress& progress) override;

  // The line for `progress` after `elapsed`, `width` columns wide at most.
  static std::string line(const std::string& label, const TransferProgress& progress,
                          std::chrono::duration<double> elapsed, std::size_t width);

 private:
  using Clock = std::chrono::steady_clock;
  std::string label_;
  bool shown_;
  std::mutex mutex_;
  Clock::time_point start_ = Clock::now();
  std::optional<Clock::time_point> lastDrawn_;
  bool drew_ = false;
};

// "1.2 GB", "950 bytes": amounts as people read them (powers of 1000, as the Mac shows).
std::string humanBytes(std::uint64_t bytes);

}  // namespace lumivale::cli
