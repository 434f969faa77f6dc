#include "core/tablet/adb_child_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "core/tablet/adb_error.h"
#include "core/tablet/system_calls.h"
#include "core/tablet/tool_cancel.h"

namespace lumivale {
namespace {

using Clock = std::chrono::steady_clock;

// Something the child started may hold its output open after it ended: what comes
// within this moment is still read, then reading stops.
constexpr auto kReadAfterExit = std::chrono::seconds(1);
// What a stream that is simply destroyed gives its child to end by itself.
constexpr Seconds kDestroyGrace{2};
constexpr std::size_t kReadSize = 65536;

// Far enough for "no deadline" without overflowing the clock.
Clock::duration span(Seconds seconds) {
  return std::chrono::duration_cast<Clock::duration>(
      std::clamp(seconds, Seconds(0), Seconds(std::chrono::hours(24 * 365))));
}

int millisecondsUntil(Clock::time_point deadline) {
  auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

void wake(const UniqueFd& fd) {
  const char byte = 0;
  [[maybe_unused]] auto written = SystemCalls::writeWithoutSignal(fd.get(), &byte, 1);
}

// Everything the three threads and the owner share; the threads keep it alive.
struct StreamState {
  StreamState(std::shared_ptr<Spawn::Child> started, const AdbStreamOptions& chosen,
              AdbStreamSink& receiver, const StopToken* stopToken, TabletGoneCheck goneCheck)
      : child(std::move(started)),
        options(chosen),
        sink(&receiver),
        stop(stopToken ? std::optional<StopToken>(*stopToken) : std::nullopt),
        tabletGone(std::move(goneCheck)) {}

  const std::shared_ptr<Spawn::Child> child;
  const AdbStreamOptions options;
  AdbStreamSink* const sink;
  const std::optional<StopToken> stop;
  const TabletGoneCheck tabletGone;
  SystemCalls::PipeEnds exitSignal;    // the waiter tells the reader that the child ended
  SystemCalls::PipeEnds writerSignal;  // the reader tells the writer that the stream ended
  // Set only on the reader thread, when its owner destroyed the stream from the sink.
  std::atomic<bool> abandoned{false};

  std::mutex lock;
  std::condition_variable changed;
  // Guarded by lock:
  std::deque<std::string> queue;  // lines not yet taken by the writer
  std::uint64_t queued = 0;       // lines ever queued
  std::uint64_t written = 0;      // lines written in full
  bool inputClosing = false;      // close the input once the queue is written
  bool inputGone = false;         // closed or broken: nothing more is written
  bool exited = false;
  int status = 0;
  bool stopAsked = false;
  bool killedByStop = false;
  Seconds grace{};
  std::string tail;
  std::optional<AdbStreamEnd> end;
  bool delivered = false;  // the sink's last call has returned

  void keepTail(std::string_view bytes) {
    std::lock_guard guard(lock);
    tail.append(bytes);
    if (tail.size() > options.stderrTailBytes) tail.erase(0, tail.size() - options.stderrTailBytes);
  }

  void inputEnded() {
    std::lock_guard guard(lock);
    inputGone = true;
    queue.clear();
    changed.notify_all();
  }
};

// Writes all of `bytes` to the non-blocking input; false when the child stopped
// reading for good or the stream ended.
bool writeAll(StreamState& state, const UniqueFd& input, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t sent = SystemCalls::writeWithoutSignal(input.get(), bytes.data(), bytes.size());
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd watched[2] = {{input.get(), POLLOUT, 0}, {state.writerSignal.read.get(), POLLIN, 0}};
    if (::poll(watched, 2, -1) < 0 && errno != EINTR) return false;
    if (watched[1].revents != 0) return false;
  }
  return true;
}

void writeLines(std::shared_ptr<StreamState> state, UniqueFd input) {
  while (true) {
    std::string line;
    {
      std::unique_lock guard(state->lock);
      state->changed.wait(
          guard, [&] { return !state->queue.empty() || state->inputClosing || state->inputGone; });
      if (state->inputGone || state->queue.empty()) break;
      line = std::move(state->queue.front());
      state->queue.pop_front();
    }
    if (!writeAll(*state, input, line)) break;
    std::lock_guard guard(state->lock);
    ++state->written;
    state->changed.notify_all();
  }
  input.reset();  // the child reads the end of its input
  state->inputEnded();
}

void awaitExit(std::shared_ptr<StreamState> state) {
  int status = state->child->wait();
  {
    std::lock_guard guard(state->lock);
    state->exited = true;
    state->status = status;
    state->changed.notify_all();
  }
  wake(state->exitSignal.write);
}

void readRecords(std::shared_ptr<StreamState> state) {
  StreamState& s = *state;
  RecordAssembler records(s.options.framing, s.options.maxRecord);
  auto deliver = [&](std::string_view record) {
    if (!s.abandoned) s.sink->received(record);
  };
  UniqueFd& out = *s.child->stdoutPipe();
  UniqueFd& err = *s.child->stderrPipe();
  std::optional<Clock::time_point> readUntil;
  std::string buffer(kReadSize, '\0');
  while (out || err) {
    pollfd watched[3];
    nfds_t count = 0;
    for (UniqueFd* fd : {&out, &err})
      if (*fd) watched[count++] = {fd->get(), POLLIN, 0};
    if (!readUntil) watched[count++] = {s.exitSignal.read.get(), POLLIN, 0};
    int ready = ::poll(watched, count, readUntil ? millisecondsUntil(*readUntil) : -1);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) break;
    for (nfds_t i = 0; i < count; ++i) {
      if (watched[i].revents == 0) continue;
      if (watched[i].fd == s.exitSignal.read.get()) {
        readUntil = Clock::now() + kReadAfterExit;
        continue;
      }
      UniqueFd& stream = watched[i].fd == out.get() ? out : err;
      ssize_t got = ::read(stream.get(), buffer.data(), buffer.size());
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) {
        stream.reset();
        continue;
      }
      std::string_view bytes(buffer.data(), static_cast<std::size_t>(got));
      if (&stream == &err) {
        s.keepTail(bytes);
      } else if (!records.feed(bytes, deliver)) {
        // Nothing after a refused record can be trusted to be in step.
        s.child->signalIfRunning(SIGKILL);
        out.reset();
      }
    }
  }
  if (auto last = records.rest()) deliver(*last);

  AdbStreamFacts facts;
  {
    std::unique_lock guard(s.lock);
    s.changed.wait(guard, [&] { return s.exited; });
    // Once the child has exited, stop() no longer changes these.
    facts = {.status = s.status,
             .stderrTail = s.tail,
             .badRecord = records.problem(),
             .cancelled = s.stop && s.stop->isCancelled(),
             .stopAsked = s.stopAsked,
             .killedByStop = s.killedByStop,
             .grace = s.grace};
  }
  if (s.tabletGone && facts.badRecord.empty() && !facts.cancelled && !facts.stopAsked)
    facts.tabletGone = s.tabletGone();
  const AdbStreamEnd end = AdbStreamEnd::from(facts);
  {
    std::lock_guard guard(s.lock);
    s.end = end;
  }
  if (!s.abandoned) s.sink->ended(end);
  {
    std::lock_guard guard(s.lock);
    s.delivered = true;
    s.inputGone = true;
    s.queue.clear();
    s.changed.notify_all();
  }
  wake(s.writerSignal.write);
}

class ChildStream : public AdbStream {
 public:
  ChildStream(std::shared_ptr<StreamState> state, UniqueFd input)
      : state_(std::move(state)),
        cancelHold_(state_->stop ? Spawn::holdChild(*state_->stop, state_->child)
                                 : StopToken::Hold()) {
    waiter_ = std::thread(awaitExit, state_);
    reader_ = std::thread(readRecords, state_);
    if (input)
      writer_ = std::thread(writeLines, state_, std::move(input));
    else
      state_->inputEnded();
  }

  ~ChildStream() override {
    if (onReader()) {
      // Destroyed from the sink: the reader cannot be waited for from its own thread.
      state_->abandoned = true;
      state_->child->signalIfRunning(SIGKILL);
      for (std::thread* thread : {&waiter_, &reader_, &writer_})
        if (thread->joinable()) thread->detach();
      return;
    }
    stop(kDestroyGrace);
    for (std::thread* thread : {&waiter_, &reader_, &writer_})
      if (thread->joinable()) thread->join();
  }

  Write writeLine(std::string_view line, Seconds timeout) override {
    if (line.size() > state_->options.maxRecord || line.find('\n') != std::string_view::npos)
      return Write::refused;
    std::unique_lock guard(state_->lock);
    if (state_->inputClosing || state_->inputGone) return Write::closed;
    state_->queue.emplace_back(std::string(line) + '\n');
    const std::uint64_t ticket = ++state_->queued;
    state_->changed.notify_all();
    state_->changed.wait_for(guard, span(timeout),
                             [&] { return state_->written >= ticket || state_->inputGone; });
    if (state_->written >= ticket) return Write::written;
    return state_->inputGone ? Write::closed : Write::timedOut;
  }

  void closeInput() override {
    std::lock_guard guard(state_->lock);
    state_->inputClosing = true;
    state_->changed.notify_all();
  }

  AdbStreamEnd stop(Seconds grace) override {
    std::unique_lock guard(state_->lock);
    if (onReader()) {
      if (state_->end) return *state_->end;
      throw std::logic_error("an adb stream cannot be stopped from its own sink's received()");
    }
    if (!state_->exited) {
      state_->stopAsked = true;
      state_->grace = grace;
    }
    state_->inputClosing = true;
    state_->changed.notify_all();
    if (!state_->changed.wait_for(guard, span(grace), [&] { return state_->exited; }))
      // Under the lock, so the reader tells the end with this already known.
      state_->killedByStop = state_->child->signalIfRunning(SIGKILL);
    state_->changed.wait(guard, [&] { return state_->delivered; });
    return *state_->end;
  }

  std::optional<AdbStreamEnd> waitForEnd(Seconds timeout) override {
    std::unique_lock guard(state_->lock);
    if (!onReader())
      state_->changed.wait_for(guard, span(timeout), [&] { return state_->delivered; });
    if (!state_->delivered && !onReader()) return std::nullopt;
    return state_->end;
  }

  std::string stderrTail() const override {
    std::lock_guard guard(state_->lock);
    return state_->tail;
  }

 private:
  bool onReader() const { return std::this_thread::get_id() == reader_.get_id(); }

  std::shared_ptr<StreamState> state_;
  // A cancel kills the child; the stream then ends as any killed child does.
  StopToken::Hold cancelHold_;
  std::thread waiter_;
  std::thread reader_;
  std::thread writer_;
};

SystemCalls::PipeEnds signalPipe(const std::string& path) {
  auto ends = SystemCalls::openPipe();
  if (!ends) throw AdbError(Spawn::Failure(path, errno).message());
  return std::move(*ends);
}

}  // namespace

std::unique_ptr<AdbStream> openAdbStream(const std::filesystem::path& adbPath,
                                         const Environment& environment,
                                         const std::vector<std::string>& arguments,
                                         const AdbStreamOptions& options, AdbStreamSink& sink,
                                         const StopToken* stop, TabletGoneCheck tabletGone) {
  const std::string path = adbPath.string();
  auto exitSignal = signalPipe(path);
  auto writerSignal = signalPipe(path);
  std::shared_ptr<Spawn::Child> child;
  try {
    child = options.input ? Spawn::launchWithInput(path, arguments, environment, true, true)
                          : Spawn::launch(path, arguments, environment, true, true);
  } catch (const Spawn::Failure& failure) {
    throw AdbError(failure.message());
  }

  UniqueFd input;
  if (options.input) {
    input = std::move(*child->stdinPipe());
    // The writer waits in poll, where the stream's end can reach it, never in write.
    ::fcntl(input.get(), F_SETFL, ::fcntl(input.get(), F_GETFL) | O_NONBLOCK);
  }
  auto state = std::make_shared<StreamState>(child, options, sink, stop, std::move(tabletGone));
  state->exitSignal = std::move(exitSignal);
  state->writerSignal = std::move(writerSignal);
  return std::make_unique<ChildStream>(std::move(state), std::move(input));
}

}  // namespace lumivale
