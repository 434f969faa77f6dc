#include "core/tablet/stream_records.h"

#include <charconv>

#include <fmt/format.h>

namespace lumivale {
namespace {

constexpr std::size_t kLengthDigits = 4;

}  // namespace

RecordAssembler::RecordAssembler(RecordFraming framing, std::size_t maxRecord)
    : framing_(framing), maxRecord_(maxRecord) {}

bool RecordAssembler::feed(std::string_view bytes, const Emit& emit) {
  if (!problem_.empty()) return false;
  return framing_ == RecordFraming::lines ? feedLines(bytes, emit) : feedReports(bytes, emit);
}

bool RecordAssembler::feedLines(std::string_view bytes, const Emit& emit) {
  while (!bytes.empty()) {
    auto end = bytes.find('\n');
    if (end == std::string_view::npos) {
      // Kept only while it can still become an acceptable line.
      if (pending_.size() + bytes.size() > maxRecord_)
        return refuse(fmt::format("a line of more than {} bytes arrived", maxRecord_));
      pending_.append(bytes);
      return true;
    }
    auto piece = bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
    if (pending_.size() + piece.size() > maxRecord_)
      return refuse(fmt::format("a line of more than {} bytes arrived", maxRecord_));
    if (pending_.empty()) {
      emit(piece);
    } else {
      pending_.append(piece);
      std::string line = std::move(pending_);
      pending_.clear();
      emit(line);
    }
  }
  return true;
}

bool RecordAssembler::feedReports(std::string_view bytes, const Emit& emit) {
  pending_.append(bytes);
  std::string_view rest = pending_;
  while (rest.size() >= kLengthDigits) {
    std::size_t length = 0;
    auto digits = rest.substr(0, kLengthDigits);
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length, 16);
    if (error != std::errc() || end != digits.data() + digits.size())
      return refuse(fmt::format("a report began with '{}', not a length", digits));
    if (length > maxRecord_)
      return refuse(
          fmt::format("a report of {} bytes arrived; {} is the most", length, maxRecord_));
    if (rest.size() < kLengthDigits + length) break;
    emit(rest.substr(kLengthDigits, length));
    rest.remove_prefix(kLengthDigits + length);
  }
  pending_.erase(0, pending_.size() - rest.size());
  return true;
}

std::optional<std::string> RecordAssembler::rest() {
  if (framing_ != RecordFraming::lines || pending_.empty() || !problem_.empty())
    return std::nullopt;
  std::string last = std::move(pending_);
  pending_.clear();
  return last;
}

bool RecordAssembler::refuse(std::string problem) {
  problem_ = std::move(problem);
  pending_.clear();
  return false;
}

}  // namespace lumivale
