#include "cli/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include <fmt/compile.h>
#include <fmt/format.h>

namespace lumivale::cli {

namespace {

// Redrawing more often than this only costs the terminal time.
constexpr std::chrono::milliseconds redrawInterval{100};
constexpr std::size_t barColumns = 20;

std::size_t terminalWidth() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20) return size.ws_col;
  return 80;
}

std::string clock(double seconds) {
  const auto whole = static_cast<long long>(seconds + 0.5);
  if (whole >= 3600)
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

std::string humanBytes(std::uint64_t bytes) {
  static constexpr std::array<const char*, 5> units{"kB", "MB", "GB", "TB", "PB"};
  // Compiled formats: a long listing asks for one size a line.
  if (bytes < 1000) return fmt::format(FMT_COMPILE("{} {}"), bytes, bytes == 1 ? "byte" : "bytes");
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (value >= 999.95 && unit + 1 < units.size()) {
    value /= 1000;
    ++unit;
  }
  return fmt::format(FMT_COMPILE("{:.1f} {}"), value, units[unit]);
}

ProgressBar::ProgressBar(std::string label, bool quiet)
    : label_(std::move(label)), shown_(!quiet && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (drew_) std::fputs("\n", stderr);
}

void ProgressBar::notify(const TransferProgress& progress) {
  if (!shown_) return;
  std::lock_guard lock(mutex_);
  const auto now = Clock::now();
  const bool finished = progress.total && progress.done >= *progress.total;
  if (lastDrawn_ && now - *lastDrawn_ < redrawInterval && !finished) return;
  lastDrawn_ = now;
  drew_ = true;
  const std::string text = line(label_, progress, now - start_, terminalWidth() - 1);
  std::fprintf(stderr, "\r%s\x1b[K", text.c_str());
  std::fflush(stderr);
}

std::string ProgressBar::line(const std::string& label, const TransferProgress& progress,
                              std::chrono::duration<double> elapsed, std::size_t width) {
  const auto done = static_cast<std::uint64_t>(std::max<std::int64_t>(progress.done, 0));
  const double seconds = elapsed.count();
  const double rate = seconds > 0.2 ? static_cast<double>(done) / seconds : 0;
  std::string figures;
  if (auto fraction = progress.fraction()) {
    const double shown = std::min(*fraction, 1.0);
    const auto filled = static_cast<std::size_t>(shown * barColumns);
    figures = fmt::format("{:3.0f}% [{}{}] {} of {}", shown * 100, std::string(filled, '#'),
                          std::string(barColumns - filled, '.'), humanBytes(done),
                          humanBytes(static_cast<std::uint64_t>(*progress.total)));
  } else {
    figures = humanBytes(done);
  }
  if (rate > 0) {
    figures += fmt::format("  {}/s", humanBytes(static_cast<std::uint64_t>(rate)));
    if (progress.total && *progress.total > progress.done)
      figures += fmt::format("  {} left",
                             clock(static_cast<double>(*progress.total - progress.done) / rate));
  }
  // The label gives way first when the terminal is narrow.
  const std::size_t room = width > figures.size() + 2 ? width - figures.size() - 2 : 0;
  std::string shownLabel = label.size() <= room ? label : label.substr(0, room);
  return (shownLabel.empty() ? "" : shownLabel + "  ") + figures;
}

}  // namespace lumivale::cli
