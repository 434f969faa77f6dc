#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/tablet/adb_stream.h"

namespace lumivale::testing {

// Keeps what a stream delivers and lets a test wait for it.
class RecordingSink : public AdbStreamSink {
 public:
  void received(std::string_view record) override {
    std::lock_guard guard(lock_);
    records_.emplace_back(record);
    changed_.notify_all();
  }
  void ended(const AdbStreamEnd& end) override {
    std::lock_guard guard(lock_);
    end_ = end;
    ++endCalls_;
    changed_.notify_all();
  }

  // True once `count` records have come, within a generous time.
  bool awaitRecords(std::size_t count) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, kPatience, [&] { return records_.size() >= count; });
  }
  std::optional<AdbStreamEnd> awaitEnd() {
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, kPatience, [&] { return end_.has_value(); });
    return end_;
  }

  std::vector<std::string> records() const {
    std::lock_guard guard(lock_);
    return records_;
  }
  int endCalls() const {
    std::lock_guard guard(lock_);
    return endCalls_;
  }

 private:
  static constexpr std::chrono::seconds kPatience{60};
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::vector<std::string> records_;
  std::optional<AdbStreamEnd> end_;
  int endCalls_ = 0;
};

}  // namespace lumivale::testing
