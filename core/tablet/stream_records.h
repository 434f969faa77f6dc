#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lumivale {

// How a child's output is cut into records.
enum class RecordFraming {
  lines,           // each record ends with a line feed (not part of the record)
  lengthPrefixed,  // four hex digits giving the payload's length, then the payload
                   // (adb's host protocol, as `adb track-devices` reports)
};

// Cuts a byte stream into records as it arrives: a read may end inside a record, and
// one read may hold several. Records longer than the maximum are refused.
class RecordAssembler {
 public:
  using Emit = std::function<void(std::string_view record)>;

  RecordAssembler(RecordFraming framing, std::size_t maxRecord);

  // Adds one read's bytes and emits each record they complete. False once a record
  // is refused (see problem()); nothing more is emitted after that.
  bool feed(std::string_view bytes, const Emit& emit);
  // At the end of the stream: a last line that had no line feed. Reports cut short
  // are dropped.
  std::optional<std::string> rest();
  // Why the stream was refused: a lower-case sentence, or empty.
  const std::string& problem() const { return problem_; }

 private:
  bool feedLines(std::string_view bytes, const Emit& emit);
  bool feedReports(std::string_view bytes, const Emit& emit);
  bool refuse(std::string problem);

  RecordFraming framing_;
  std::size_t maxRecord_;
  std::string pending_;  // the start of a record not yet complete
  std::string problem_;
};

}  // namespace lumivale
