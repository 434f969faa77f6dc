#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lumivale {

// Collation keys, one per entry, end to end in one buffer: a long listing's keys are then
// one allocation to make and to free rather than one each, and lie together when sorted on.
class SortKeys {
 public:
  void add(std::string_view key) {
    addWith([&](std::string& out) { out.append(key); });
  }
  // Adds the key that append(out) writes to the end of `out`.
  template <typename Append>
  void addWith(Append append) {
    append(bytes_);
    ends_.push_back(bytes_.size());
  }

  std::string_view operator[](std::size_t index) const {
    const std::size_t start = index == 0 ? 0 : ends_[index - 1];
    return std::string_view(bytes_).substr(start, ends_[index] - start);
  }
  std::size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }

  // Keeps the keys for which keep(index) holds, in their order; keep is asked of every
  // index once, in ascending order.
  template <typename Keep>
  void keepIf(Keep keep);

  bool operator==(const SortKeys&) const = default;

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;
};

template <typename Keep>
void SortKeys::keepIf(Keep keep) {
  std::size_t kept = 0;
  std::size_t written = 0;
  std::size_t start = 0;
  for (std::size_t index = 0; index < ends_.size(); ++index) {
    const std::size_t end = ends_[index];
    if (keep(index)) {
      // Kept keys only move towards the front, over bytes already read.
      if (written != start)
        std::char_traits<char>::move(bytes_.data() + written, bytes_.data() + start, end - start);
      written += end - start;
      ends_[kept++] = written;
    }
    start = end;
  }
  ends_.resize(kept);
  bytes_.resize(written);
}

}  // namespace lumivale
