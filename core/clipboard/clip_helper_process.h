#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "core/clipboard/clip_wire.h"
#include "core/tablet/adb_runner.h"

namespace lumivale {

// The clipboard helper running on the tablet through one adb stream: its output lines
// queued for a reader, lines written to it, a ping every `pingInterval` so that it does
// not stop by itself. A ping not answered within `answerWait` means the tablet went away
// while adb still holds its connection: the helper then counts as ended (disconnected)
// and nothing it says later is passed on. Every call may come from any thread.
class ClipHelperProcess : private AdbStreamSink {
 public:
  struct Options {
    std::string serial;
    std::optional<std::int64_t> since = std::nullopt;
    Seconds pingInterval = ClipWire::pingInterval;
    Seconds answerWait = ClipWire::pingInterval;
    std::size_t maxLine = ClipWire::maxLine;
  };

  // Starts the helper (installed beforehand). Throws AdbError when `serial` is not a
  // device serial or adb cannot be launched; a cancel of `stop` kills it.
  ClipHelperProcess(AdbStreamRunner& runner, Options options, const StopToken* stop = nullptr);
  // Stops it as terminateNow() does.
  ~ClipHelperProcess() override;
  ClipHelperProcess(const ClipHelperProcess&) = delete;
  ClipHelperProcess& operator=(const ClipHelperProcess&) = delete;

  // The next line the helper wrote; none once it has ended and every line was taken, or
  // when `timeout` passes first (ended() tells which).
  std::optional<std::string> nextLine(Seconds timeout);
  // False when the line could not be written within `timeout` (or the helper has ended).
  bool send(std::string_view line, Seconds timeout);
  void closeInput();
  // How it ended, once it has.
  std::optional<AdbStreamEnd> ended() const;
  std::string stderrTail() const;

  // Asks it to quit, closes its input and waits up to `timeout` for it to end; kills it
  // when it does not.
  AdbStreamEnd finish(Seconds timeout);
  // Kills it at once.
  AdbStreamEnd terminateNow();

 private:
  void received(std::string_view record) override;
  void ended(const AdbStreamEnd& end) override;
  void ping();
  void stopPinging();

  const Options options_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::deque<std::string> lines_;
  std::optional<AdbStreamEnd> end_;
  std::uint64_t linesHeard_ = 0;  // pongs included
  bool pinging_ = true;
  std::unique_ptr<AdbStream> stream_;
  std::thread pinger_;
};

}  // namespace lumivale
