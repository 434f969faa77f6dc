#include "core/clipboard/clip_helper_process.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/clipboard/clip_helper.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_parse.h"

namespace lumivale {
namespace {

constexpr Seconds kPingWriteTimeout{5};

// The serial becomes an argument of adb: nothing adb could read as an option or split.
bool usableSerial(const std::string& serial) {
  return AdbParse::isDeviceSerial(serial) && serial.front() != '-' &&
         std::none_of(serial.begin(), serial.end(),
                      [](unsigned char c) { return c <= ' ' || c == 0x7f; });
}

}  // namespace

ClipHelperProcess::ClipHelperProcess(AdbStreamRunner& runner, Options options,
                                     const StopToken* stop)
    : options_(std::move(options)) {
  if (!usableSerial(options_.serial))
    throw AdbError(
        fmt::format("refusing unpinned adb: serial '{}' is not a device serial", options_.serial));
  AdbStreamOptions streamOptions;
  streamOptions.maxRecord = options_.maxLine;
  stream_ = runner.openStream(ClipHelper::arguments(options_.serial, options_.since), streamOptions,
                              *this, stop);
  pinger_ = std::thread([this] { ping(); });
}

ClipHelperProcess::~ClipHelperProcess() {
  terminateNow();
}

std::optional<std::string> ClipHelperProcess::nextLine(Seconds timeout) {
  std::unique_lock guard(lock_);
  changed_.wait_for(guard, timeout, [this] { return !lines_.empty() || end_; });
  if (lines_.empty()) return std::nullopt;
  std::string line = std::move(lines_.front());
  lines_.pop_front();
  return line;
}

bool ClipHelperProcess::send(std::string_view line, Seconds timeout) {
  return stream_->writeLine(line, timeout) == AdbStream::Write::written;
}

void ClipHelperProcess::closeInput() {
  stream_->closeInput();
}

std::optional<AdbStreamEnd> ClipHelperProcess::ended() const {
  std::lock_guard guard(lock_);
  return end_;
}

std::string ClipHelperProcess::stderrTail() const {
  return stream_->stderrTail();
}

AdbStreamEnd ClipHelperProcess::finish(Seconds timeout) {
  stopPinging();
  if (!ended()) stream_->writeLine(ClipWire::quitLine(), timeout);
  return stream_->stop(timeout);
}

AdbStreamEnd ClipHelperProcess::terminateNow() {
  stopPinging();
  return stream_->stop(Seconds(0));
}

void ClipHelperProcess::received(std::string_view record) {
  std::lock_guard guard(lock_);
  // One given up for gone says nothing more, whatever comes late.
  if (end_) return;
  ++linesHeard_;
  if (record != ClipWire::pongLine()) lines_.emplace_back(record);
  changed_.notify_all();
}

void ClipHelperProcess::ended(const AdbStreamEnd& end) {
  std::lock_guard guard(lock_);
  if (!end_) end_ = end;
  changed_.notify_all();
}

void ClipHelperProcess::ping() {
  std::unique_lock guard(lock_);
  auto over = [this] { return !pinging_ || end_; };
  while (true) {
    changed_.wait_for(guard, options_.pingInterval, over);
    if (over()) return;
    const std::uint64_t heard = linesHeard_;
    guard.unlock();
    stream_->writeLine(ClipWire::pingLine(), kPingWriteTimeout);
    guard.lock();
    // A helper still starting is bounded by its caller's wait for it. After that any
    // line will do: the pong comes after whatever the helper was writing.
    if (heard == 0 || changed_.wait_for(guard, options_.answerWait,
                                        [&] { return over() || linesHeard_ != heard; }))
      continue;
    AdbStreamEnd gone;
    gone.reason = AdbStreamEnd::Reason::disconnected;
    gone.message =
        fmt::format("no answer from the tablet within {:g} s", options_.answerWait.count());
    end_ = std::move(gone);
    changed_.notify_all();
    return;
  }
}

void ClipHelperProcess::stopPinging() {
  {
    std::lock_guard guard(lock_);
    pinging_ = false;
    changed_.notify_all();
  }
  if (pinger_.joinable() && pinger_.get_id() != std::this_thread::get_id()) pinger_.join();
}

}  // namespace lumivale
