#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/stop_token.h"
#include "core/tablet/stream_records.h"
#include "core/tablet/tool_run.h"

namespace lumivale {

// What a stream knows once its child has ended, from which its end is told.
struct AdbStreamFacts {
  int status = 0;
  std::string stderrTail{};
  std::string badRecord{};  // why a record was refused, if one was
  bool cancelled = false;
  bool stopAsked = false;
  bool killedByStop = false;
  bool tabletGone = false;  // adb no longer lists the stream's tablet as ready
  Seconds grace{};          // the grace stop() gave
};

// How a long-lived adb child ended.
struct AdbStreamEnd {
  enum class Reason {
    exited,        // ended by itself; `status` says how
    stopped,       // ended after stop() closed its input
    killed,        // stop()'s grace ran out and it was killed
    cancelled,     // its stop token was cancelled
    badRecord,     // a line longer than the maximum, or a malformed report, arrived
    disconnected,  // adb lost the tablet or its server
  };
  Reason reason = Reason::exited;
  int status = 0;          // adb's exit status; 128 + signal when a signal ended it
  std::string stderrTail;  // the last of what adb wrote to standard error
  std::string message;     // a lower-case sentence saying how it ended

  bool operator==(const AdbStreamEnd&) const = default;

  static AdbStreamEnd from(const AdbStreamFacts& facts);
  // Whether adb's error output says the tablet or its server went away.
  static bool saysTabletGone(std::string_view stderrText);
};

struct AdbStreamOptions {
  RecordFraming framing = RecordFraming::lines;
  // The longest record accepted either way, in bytes, without the line feed.
  std::size_t maxRecord = 65536;
  // Whether the child's standard input is a pipe we write lines to (else /dev/null).
  bool input = true;
  // How much of standard error is kept for messages.
  std::size_t stderrTailBytes = 4096;
};

// Receives what a stream reads. Calls come on the stream's reader thread, one at a
// time and in order, never while a lock of the stream is held; they must not throw
// and must not call stop() from received() (stop waits for the reader).
class AdbStreamSink {
 public:
  virtual ~AdbStreamSink() = default;
  // One complete record: a line without its line feed, or one report's payload.
  virtual void received(std::string_view record) = 0;
  // Called exactly once, after the last record.
  virtual void ended(const AdbStreamEnd& end) = 0;
};

// One running adb child whose standard input stays open: lines in, records out.
// Every call may come from any thread. Destroying it stops the child (a short grace,
// then a kill) and waits for the sink's last call.
class AdbStream {
 public:
  enum class Write {
    written,   // the whole line is in the child's input
    timedOut,  // not yet taken by the child; it stays queued and goes out in order
    refused,   // longer than the maximum, or holding a line feed: nothing was sent
    closed,    // input closed, or the stream ended: nothing more can be sent
  };

  virtual ~AdbStream() = default;

  // Queues `line` plus a line feed for the child and waits until it is written or
  // `timeout` has passed, whichever comes first.
  virtual Write writeLine(std::string_view line, Seconds timeout) = 0;
  // Closes the child's input once the queued lines are written.
  virtual void closeInput() = 0;
  // Closes the input, waits up to `grace` for the child to end, then kills it; returns
  // once the sink has had its last call (at once with the end when called from ended()).
  virtual AdbStreamEnd stop(Seconds grace) = 0;
  // How the stream ended, once the sink has had its last call; none if it has not
  // ended within `timeout`.
  virtual std::optional<AdbStreamEnd> waitForEnd(Seconds timeout) = 0;
  // The last of what adb wrote to standard error so far.
  virtual std::string stderrTail() const = 0;
};

}  // namespace lumivale
