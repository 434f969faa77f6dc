#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/tablet/adb_error.h"
#include "core/tablet/adb_runner.h"
#include "core/tablet/adb_stream.h"

namespace lumivale::testing {

// The child side of a scripted adb stream: the test decides what each read of its
// output holds, when it writes errors and how it ends, and sees the lines written to
// it. Records reach the sink on the fake's own thread, in order, cut by the same
// RecordAssembler as a real stream's.
class FakeAdbStream {
 public:
  FakeAdbStream(std::vector<std::string> arguments, const AdbStreamOptions& options,
                AdbStreamSink& sink, const StopToken* stop)
      : arguments_(std::move(arguments)),
        options_(options),
        sink_(&sink),
        stop_(stop ? std::optional<StopToken>(*stop) : std::nullopt),
        records_(options.framing, options.maxRecord),
        thread_([this] { deliver(); }) {
    // A cancel kills the child, as the real stream's hold does.
    if (stop_) cancelHold_ = stop_->hold([this] { kill(); });
  }
  ~FakeAdbStream() {
    cancelHold_.release();
    {
      std::lock_guard guard(lock_);
      closing_ = true;
      changed_.notify_all();
    }
    thread_.join();
  }
  FakeAdbStream(const FakeAdbStream&) = delete;
  FakeAdbStream& operator=(const FakeAdbStream&) = delete;

  const std::vector<std::string>& arguments() const { return arguments_; }

  // One read of standard output, delivered as a real read would be.
  void output(std::string bytes) { push({Step::output, std::move(bytes), 0}); }
  void errors(std::string bytes) { push({Step::errors, std::move(bytes), 0}); }
  // The child ends by itself with `status`.
  void exit(int status) { push({Step::exit, "", status}); }
  // Something outside kills the child: status 137.
  void kill() { push({Step::exit, "", 137}); }
  // Each line written that contains `fragment` is answered with `bytes` on the output.
  void reply(std::string fragment, std::string bytes) {
    std::lock_guard guard(lock_);
    replies_.emplace_back(std::move(fragment), std::move(bytes));
  }
  // By default the child ends with status 0 once its input is closed; after this it
  // goes on until stop() kills it.
  void ignoreInputEnd() {
    std::lock_guard guard(lock_);
    ignoresInputEnd_ = true;
  }
  // The child stops reading its input: writes time out.
  void stall() {
    std::lock_guard guard(lock_);
    stalled_ = true;
  }

  std::vector<std::string> linesWritten() const {
    std::lock_guard guard(lock_);
    return written_;
  }
  bool inputClosed() const {
    std::lock_guard guard(lock_);
    return inputClosed_;
  }
  // Waits until everything scripted so far has reached the sink.
  void settle() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [this] { return steps_.empty() && !busy_; });
  }

  // The stream side, as the code under test sees it.
  AdbStream::Write writeLine(std::string_view line) {
    if (line.size() > options_.maxRecord || line.find('\n') != std::string_view::npos)
      return AdbStream::Write::refused;
    std::lock_guard guard(lock_);
    if (inputClosed_ || end_) return AdbStream::Write::closed;
    if (stalled_) return AdbStream::Write::timedOut;
    written_.emplace_back(line);
    for (const auto& [fragment, bytes] : replies_)
      if (line.find(fragment) != std::string_view::npos) steps_.push_back({Step::output, bytes, 0});
    changed_.notify_all();
    return AdbStream::Write::written;
  }
  void closeInput() {
    std::lock_guard guard(lock_);
    closeInputLocked();
  }
  AdbStreamEnd stop() {
    std::unique_lock guard(lock_);
    if (std::this_thread::get_id() == thread_.get_id()) {
      if (end_) return *end_;
      throw std::logic_error("an adb stream cannot be stopped from its own sink's received()");
    }
    if (!end_ && !exitQueued_) {
      stopAsked_ = true;
      closeInputLocked();
      if (ignoresInputEnd_) {
        killedByStop_ = true;
        queueExit(137);
      }
    }
    changed_.wait(guard, [this] { return delivered_; });
    return *end_;
  }
  std::optional<AdbStreamEnd> waitForEnd(Seconds timeout) {
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, timeout, [this] { return delivered_; });
    return delivered_ ? end_ : std::nullopt;
  }
  std::string stderrTail() const {
    std::lock_guard guard(lock_);
    return tail_;
  }
  // After this the sink is no longer called (its owner may be gone).
  void detach() {
    std::lock_guard guard(lock_);
    sink_ = nullptr;
  }

 private:
  struct Step {
    enum Kind { output, errors, exit } kind;
    std::string bytes;
    int status;
  };

  void push(Step step) {
    std::lock_guard guard(lock_);
    if (step.kind == Step::exit) {
      queueExit(step.status);
      return;
    }
    steps_.push_back(std::move(step));
    changed_.notify_all();
  }
  void queueExit(int status) {
    if (exitQueued_) return;
    exitQueued_ = true;
    steps_.push_back({Step::exit, "", status});
    changed_.notify_all();
  }
  void closeInputLocked() {
    inputClosed_ = true;
    if (!ignoresInputEnd_) queueExit(0);
  }

  void deliver() {
    std::unique_lock guard(lock_);
    while (true) {
      changed_.wait(guard, [this] { return closing_ || !steps_.empty(); });
      if (steps_.empty()) return;
      Step step = std::move(steps_.front());
      steps_.pop_front();
      busy_ = true;
      AdbStreamSink* sink = sink_;
      guard.unlock();
      run(step, sink);
      guard.lock();
      busy_ = false;
      changed_.notify_all();
    }
  }

  // On the fake's thread, without the lock, as a real reader calls its sink.
  void run(const Step& step, AdbStreamSink* sink) {
    if (ended()) return;
    auto emit = [&](std::string_view record) {
      if (sink) sink->received(record);
    };
    if (step.kind == Step::errors) {
      std::lock_guard guard(lock_);
      tail_ += step.bytes;
      return;
    }
    if (step.kind == Step::output) {
      if (!records_.feed(step.bytes, emit)) finish(137, sink);
      return;
    }
    if (auto last = records_.rest()) emit(*last);
    finish(step.status, sink);
  }

  bool ended() {
    std::lock_guard guard(lock_);
    return end_.has_value();
  }

  void finish(int status, AdbStreamSink* sink) {
    AdbStreamEnd end;
    {
      std::lock_guard guard(lock_);
      end = AdbStreamEnd::from({.status = status,
                                .stderrTail = tail_,
                                .badRecord = records_.problem(),
                                .cancelled = stop_ && stop_->isCancelled(),
                                .stopAsked = stopAsked_,
                                .killedByStop = killedByStop_,
                                .grace = Seconds(0)});
      end_ = end;
    }
    if (sink) sink->ended(end);
    std::lock_guard guard(lock_);
    delivered_ = true;
    changed_.notify_all();
  }

  const std::vector<std::string> arguments_;
  const AdbStreamOptions options_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  AdbStreamSink* sink_;
  const std::optional<StopToken> stop_;
  StopToken::Hold cancelHold_;
  RecordAssembler records_;  // used on the fake's thread only
  std::deque<Step> steps_;
  std::vector<std::pair<std::string, std::string>> replies_;
  std::vector<std::string> written_;
  std::string tail_;
  bool busy_ = false;
  bool closing_ = false;
  bool stalled_ = false;
  bool ignoresInputEnd_ = false;
  bool inputClosed_ = false;
  bool exitQueued_ = false;
  bool stopAsked_ = false;
  bool killedByStop_ = false;
  std::optional<AdbStreamEnd> end_;
  bool delivered_ = false;
  std::thread thread_;  // last: it starts once everything above is ready
};

// Opens FakeAdbStreams and keeps them for the test to script.
class FakeAdbStreamRunner : public AdbStreamRunner {
 public:
  std::unique_ptr<AdbStream> openStream(const std::vector<std::string>& arguments,
                                        const AdbStreamOptions& options, AdbStreamSink& sink,
                                        const StopToken* stop = nullptr) override {
    std::lock_guard guard(lock_);
    if (failures_ > 0) {
      --failures_;
      throw AdbError("could not launch adb: No such file or directory");
    }
    auto stream = std::make_shared<FakeAdbStream>(arguments, options, sink, stop);
    streams_.push_back(stream);
    opened_.notify_all();
    return std::make_unique<Handle>(stream);
  }

  // The next `count` opens fail as when adb cannot be started.
  void failOpens(int count) {
    std::lock_guard guard(lock_);
    failures_ = count;
  }
  // The stream opened `index`-th (from 0), once it has been opened; none if it is not
  // opened within the time.
  std::shared_ptr<FakeAdbStream> stream(std::size_t index,
                                        Seconds timeout = std::chrono::seconds(30)) {
    std::unique_lock guard(lock_);
    opened_.wait_for(guard, timeout, [&] { return streams_.size() > index; });
    return streams_.size() > index ? streams_[index] : nullptr;
  }
  std::size_t openCount() {
    std::lock_guard guard(lock_);
    return streams_.size();
  }

 private:
  // What the code under test holds; destroying it stops the fake child.
  class Handle : public AdbStream {
   public:
    explicit Handle(std::shared_ptr<FakeAdbStream> stream) : stream_(std::move(stream)) {}
    ~Handle() override {
      stream_->stop();
      stream_->detach();
    }
    Write writeLine(std::string_view line, Seconds) override { return stream_->writeLine(line); }
    void closeInput() override { stream_->closeInput(); }
    AdbStreamEnd stop(Seconds) override { return stream_->stop(); }
    std::optional<AdbStreamEnd> waitForEnd(Seconds timeout) override {
      return stream_->waitForEnd(timeout);
    }
    std::string stderrTail() const override { return stream_->stderrTail(); }

   private:
    std::shared_ptr<FakeAdbStream> stream_;
  };

  std::mutex lock_;
  std::condition_variable opened_;
  std::vector<std::shared_ptr<FakeAdbStream>> streams_;
  int failures_ = 0;
};

}  // namespace lumivale::testing
