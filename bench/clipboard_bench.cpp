// Copy latency of `lumivale clipboard share` on the stand-in tablet through the real adb:
// from a copy on one side to the text standing on the other, each way in turn, with a
// private clipboard file for the computer's. Run as root (the stand-in chroots):
// build/bench/bench/clipboard_bench [COPIES] (200 each way unless given)
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/clipboard/shared_clipboard.h"
#include "core/tablet/spawn.h"
#include "platform/file_pasteboard.h"
#include "tests/integration/standin_cli.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Millis = std::chrono::duration<double, std::milli>;

constexpr auto kGiveUp = std::chrono::seconds(30);

// Wakes when a file is put in place in one folder (renamed in or written), so that the
// time a copy lands is taken when it happens rather than at the next look.
class FolderWatch {
 public:
  explicit FolderWatch(const fs::path& folder) : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (fd_ < 0 || ::inotify_add_watch(fd_, folder.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE) < 0)
      throw std::runtime_error("cannot watch " + folder.string());
  }
  ~FolderWatch() { ::close(fd_); }
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // When `landed` first holds, looking again at each change; throws after kGiveUp.
  Clock::time_point waitUntil(const std::function<bool()>& landed) {
    const auto giveUp = Clock::now() + kGiveUp;
    while (!landed()) {
      if (Clock::now() > giveUp) throw std::runtime_error("a copy did not go across");
      pollfd ready{.fd = fd_, .events = POLLIN, .revents = 0};
      ::poll(&ready, 1, 100);
      alignas(inotify_event) char drained[4096];
      while (::read(fd_, drained, sizeof drained) > 0) {
      }
    }
    return Clock::now();
  }

 private:
  int fd_;
};

std::string textIn(const fs::path& clipFile) {
  std::ifstream in(clipFile);
  const auto clip = nlohmann::json::parse(in, nullptr, false);
  return clip.is_object() ? clip.value("text", "") : "";
}

struct Summary {
  double p50;
  double p95;
  double worst;
};

Summary summarise(std::vector<double> millis) {
  std::sort(millis.begin(), millis.end());
  auto at = [&](double share) {
    return millis[std::min(millis.size() - 1, static_cast<std::size_t>(share * millis.size()))];
  };
  return {at(0.5), at(0.95), millis.back()};
}

// Reads the share's status lines until one begins with `start`.
void awaitLine(int fd, const std::string& start) {
  std::string pending;
  char buffer[4096];
  const auto giveUp = Clock::now() + std::chrono::minutes(2);
  while (Clock::now() < giveUp) {
    pollfd ready{.fd = fd, .events = POLLIN, .revents = 0};
    if (::poll(&ready, 1, 1000) <= 0) continue;
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got <= 0) break;
    pending.append(buffer, static_cast<std::size_t>(got));
    for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
      if (pending.starts_with(start)) return;
      pending.erase(0, end + 1);
    }
  }
  throw std::runtime_error("clipboard share did not say \"" + start + "\"");
}

int run(int copies) {
  testing::StandinTablet tablet;
  std::string pattern = (fs::temp_directory_path() / "lumivale-clip-bench-XXXXXX").string();
  const fs::path local = ::mkdtemp(pattern.data());
  fs::create_directories(local / "config");
  Environment environment = testing::standinCliEnvironment(tablet, local / "config");
  const fs::path pasteboardFile = local / "pasteboard.json";
  environment["LUMIVALE_CLIP_PASTEBOARD"] = pasteboardFile.string();

  auto share = Spawn::launch(LUMIVALE_CLI, {"clipboard", "share"}, environment, true, false);
  awaitLine(share->stdoutPipe()->get(), "On over");

  const fs::path tabletClip = tablet.hostPath("/data/standin/clipboard.json");
  FolderWatch tabletSide(tabletClip.parent_path());
  FolderWatch computerSide(local);
  FilePasteboard computer(pasteboardFile);
  auto computerText = [&] {
    FilePasteboard reader(pasteboardFile);
    reader.changeCount();
    const auto content = reader.read();
    return content.kind == PasteboardContent::Kind::text ? content.text : std::string();
  };

  const Millis pollInterval = SharedClipboard::Options{}.pollInterval;
  std::mt19937 random(42);
  std::uniform_real_distribution<double> phase(0, pollInterval.count());
  std::vector<double> toTablet, toComputer;
  for (int copy = 0; copy < copies; ++copy) {
    // Copies come at any moment of the computer's poll cycle, as a person's do.
    std::this_thread::sleep_for(Millis(phase(random)));
    const std::string here = fmt::format("copied here {}", copy);
    auto start = Clock::now();
    computer.copy({{FilePasteboard::textFormat, here}});
    auto landed = tabletSide.waitUntil([&] { return textIn(tabletClip) == here; });
    toTablet.push_back(Millis(landed - start).count());

    std::this_thread::sleep_for(Millis(phase(random)));
    const std::string there = fmt::format("copied on the tablet {}", copy);
    start = Clock::now();
    tablet.copyOnTablet(nlohmann::json{{"text", there}}.dump());
    landed = computerSide.waitUntil([&] { return computerText() == there; });
    toComputer.push_back(Millis(landed - start).count());
  }
  share->signalIfRunning(SIGINT);
  share->wait();
  fs::remove_all(local);

  const Summary there = summarise(toTablet);
  const Summary back = summarise(toComputer);
  const double toTabletGoal = pollInterval.count() + 50;
  fmt::print("clipboard copies, {} each way, poll interval {:.0f} ms\n", copies,
             pollInterval.count());
  fmt::print(
      "  computer -> tablet: p50 {:.1f} ms, p95 {:.1f} ms, worst {:.1f} ms"
      " (goal: p95 within {:.0f} ms) {}\n",
      there.p50, there.p95, there.worst, toTabletGoal,
      there.p95 <= toTabletGoal ? "met" : "MISSED");
  fmt::print(
      "  tablet -> computer: p50 {:.1f} ms, p95 {:.1f} ms, worst {:.1f} ms"
      " (goal: p95 within 100 ms) {}\n",
      back.p50, back.p95, back.worst, back.p95 <= 100 ? "met" : "MISSED");
  return 0;
}

}  // namespace
}  // namespace lumivale

int main(int argc, char** argv) {
  try {
    return lumivale::run(argc > 1 ? std::atoi(argv[1]) : 200);
  } catch (const std::exception& failure) {
    std::cerr << "clipboard_bench: " << failure.what() << "\n";
    return 1;
  }
}
